/// A loop whose system calls fail, one after the other, and a timer on a clock that the case sets.

#include "Base/SystemCalls.h"
#include "CoreFoundation/LoopAlarm.h"
#include "ErrorOf.h"
#include "FaultyCalls.h"
#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <thread>

namespace {

using qrx::platform::SystemCalls;
using qrx::platform::test::FaultyCalls;

class RunLoopCalls : public LeakCheck {
protected:
    void SetUp() override { SystemCalls::replaceOfProcess(&calls); }
    void TearDown() override
    {
        SystemCalls::replaceOfProcess(nullptr);
        EXPECT_EQ(calls.openDescriptors(), abandoned) << "the rest was closed with the thread";
        calls.closeOpen();
        LeakCheck::TearDown();
    }

    /// On a thread, and so a loop, of its own.
    static void onAThread(const std::function<void()>& action) { std::thread(action).join(); }

    FaultyCalls calls;
    std::size_t abandoned = 0;
};

TEST_F(RunLoopCalls, EachCallThatMakesALoopMayFailAndTheNextTryMakesOne)
{
    int made = 0;
    for (int number = 1; made == 0; ++number) {
        ASSERT_LT(number, 10);
        onAThread([&] {
            calls.failCall(number, ENOMEM);
            const int before = calls.failures();
            const int error = errorOf([] { CFRunLoopGetCurrent(); });
            const bool hasFailed = calls.failures() != before;
            made = hasFailed ? 0 : calls.count();
            EXPECT_EQ(error, hasFailed ? ENOMEM : 0) << number;
            EXPECT_EQ(hasFailed, calls.openDescriptors() == 0) << number;
            calls.failNone();
            EXPECT_EQ(errorOf([] { pass(); }), 0) << number;
        });
    }
    EXPECT_EQ(made, 3) << "an event, a set, and one in the other";
}

TEST_F(RunLoopCalls, AWaitThatIsInterruptedFindsNothing)
{
    onAThread([this] {
        const Pipe pipe;
        int fired = 0;
        DescriptorSource source(pipe.reader(), [&] { fired += pipe.take() == 'x' ? 1 : 0; });
        source.add();
        pipe.put('x');
        calls.failCall(1, EINTR);
        EXPECT_EQ(pass(true), kCFRunLoopRunTimedOut);
        EXPECT_EQ(calls.failures(), 1);
        EXPECT_EQ(pass(true), kCFRunLoopRunHandledSource);
        EXPECT_EQ(fired, 1);
    });
}

TEST_F(RunLoopCalls, AWaitThatFailsForGoodIsToldByTheRun)
{
    onAThread([this] {
        const Pipe pipe;
        DescriptorSource source(pipe.reader(), [] {});
        source.add();
        calls.failCall(1, EBADF);
        EXPECT_EQ(errorOf([] { pass(); }), EBADF);
        abandoned = 1; // the set's number may be somebody else's by now
    });
}

TEST_F(RunLoopCalls, AWakeThatCannotBeWrittenIsToldByItAndByTheNextRun)
{
    onAThread([this] {
        const Pipe pipe;
        DescriptorSource source(pipe.reader(), [] {});
        source.add();
        CFRunLoopRef loop = CFRunLoopGetCurrent();
        std::thread([&] {
            calls.failCall(1, EBADF);
            EXPECT_EQ(errorOf([&] { CFRunLoopWakeUp(loop); }), EBADF);
        }).join();
        EXPECT_EQ(calls.failures(), 1);
        EXPECT_EQ(errorOf([] { pass(); }), EBADF);
        abandoned = 1;
    });
}

TEST_F(RunLoopCalls, ASecondSourceOfADescriptorThatCannotBeDuplicatedIsNotHeard)
{
    onAThread([this] {
        const Pipe pipe;
        int fired = 0;
        DescriptorSource first(pipe.reader(), [&] { ++fired; });
        DescriptorSource second(pipe.reader(), [&] { fired += 100; });
        first.add();
        calls.failCall(2, EMFILE); // the first call finds that it is a member already
        second.add();
        EXPECT_EQ(calls.failures(), 1);
        pipe.put('x');
        pass(true);
        pass(true);
        EXPECT_EQ(fired, 2);
    });
}

TEST_F(RunLoopCalls, ASourceThatTheSystemHasNoRoomToWatchIsNotAddedAndMayBeLater)
{
    onAThread([this] {
        const Pipe pipe;
        int fired = 0;
        DescriptorSource source(pipe.reader(), [&] { ++fired; });
        CFRunLoopGetCurrent();
        pass();
        for (const int error : {ENOSPC, ENOMEM}) {
            calls.failCall(1, error);
            EXPECT_EQ(errorOf([&] { source.add(); }), error);
            EXPECT_FALSE(source.isIn());
        }
        EXPECT_EQ(pass(), kCFRunLoopRunFinished) << "there is nothing to wait for";
        source.add();
        EXPECT_TRUE(source.isIn());
        pipe.put('x');
        pass(true);
        EXPECT_EQ(fired, 1);
    });
}

TEST_F(RunLoopCalls, AnAlarmRingsByTheClockOfTheCalls)
{
    struct Client final : qrx::LoopAlarm::Client {
        void ring() override { ++rung; }
        int rung = 0;
    };
    onAThread([this] {
        const auto client = std::make_shared<Client>();
        qrx::LoopAlarm alarm(CFRunLoopGetCurrent(), client);
        alarm.setDue(calls.now() + std::chrono::hours(1));
        pass();
        calls.advance(std::chrono::minutes(59));
        pass();
        EXPECT_EQ(client->rung, 0);
        calls.advance(std::chrono::minutes(1));
        pass();
        EXPECT_EQ(client->rung, 1);
        alarm.clear();
        calls.advance(std::chrono::hours(1));
        pass();
        EXPECT_EQ(client->rung, 1);
    });
}

} // namespace
