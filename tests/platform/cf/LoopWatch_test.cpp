#include "CoreFoundation/LoopWatch.h"
#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace {

class Reader final : public qrx::LoopWatch::Client {
public:
    Reader(const Pipe& pipe, std::string& taken) : _pipe(pipe), _taken(taken) {}

    void readable() override
    {
        _taken += _pipe.take();
        if (after) {
            after();
        }
    }

    std::function<void()> after;

private:
    const Pipe& _pipe;
    std::string& _taken;
};

class LoopWatch : public LeakCheck {
protected:
    const Pipe pipe;
    std::string taken;
    std::shared_ptr<Reader> reader = std::make_shared<Reader>(pipe, taken);
};

TEST_F(LoopWatch, CallsItsClientAsLongAsTheDescriptorIsReadable)
{
    const qrx::LoopWatch watch(pipe.reader(), reader);
    pass();
    EXPECT_EQ(taken, "");
    pipe.put('a');
    pipe.put('b');
    pass();
    pass();
    pass();
    EXPECT_EQ(taken, "ab");
}

TEST_F(LoopWatch, IsSomethingThatTheLoopWaitsForUntilItEnds)
{
    std::optional<qrx::LoopWatch> watch(std::in_place, pipe.reader(), reader);
    EXPECT_EQ(pass(), kCFRunLoopRunTimedOut);
    watch.reset();
    EXPECT_EQ(pass(), kCFRunLoopRunFinished);
}

TEST_F(LoopWatch, ThatEndsInItsClientsCallIsNotCalledAgain)
{
    std::optional<qrx::LoopWatch> watch(std::in_place, pipe.reader(), reader);
    reader->after = [&] {
        watch.reset();
        reader.reset(); // now only the call holds it
    };
    pipe.put('a');
    pipe.put('b');
    pass();
    pass();
    EXPECT_EQ(taken, "a");
}

TEST_F(LoopWatch, DoesNotCallAClientThatIsGone)
{
    const qrx::LoopWatch watch(pipe.reader(), reader);
    reader.reset();
    pipe.put('a');
    pass();
    EXPECT_EQ(pipe.take(), 'a');
}

} // namespace
