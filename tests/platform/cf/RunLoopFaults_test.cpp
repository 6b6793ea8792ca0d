/// What the system and the application may do to a loop: no descriptor is left, its descriptors are closed, the process
/// forks.

#include "CoreFoundation/RunLoopDescriptor.h"
#include "DescriptorLimit.h"
#include "ErrorOf.h"
#include "ForkedChild.h"
#include "LeakCheck.h"
#include "RunLoopSources.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <thread>

namespace {

using RunLoopFaults = LeakCheck;

/// Each case has a thread, and so a loop, of its own.
void onAThread(const std::function<void()>& action)
{
    std::thread(action).join();
}

std::vector<int> openDescriptors()
{
    std::vector<int> numbers;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int number = std::stoi(entry.path().filename());
        if (std::filesystem::exists(std::filesystem::symlink_status(entry.path()))) {
            numbers.push_back(number);
        }
    }
    // The folder that was read is among them and is closed by now.
    std::erase_if(numbers, [](int number) { return ::fcntl(number, F_GETFD) < 0; });
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

TEST_F(RunLoopFaults, WithoutADescriptorNoLoopIsMadeUntilThereIsOneAgain)
{
    onAThread([] { pass(); }); // see DescriptorLimit
    onAThread([] {
        const std::vector<int> before = openDescriptors();
        for (const std::size_t free : {0u, 1u}) {
            const DescriptorLimit limit(free);
            EXPECT_EQ(errorOf([] { CFRunLoopGetCurrent(); }), EMFILE) << free;
            EXPECT_EQ(errorOf([] { pass(); }), EMFILE) << free;
        }
        EXPECT_EQ(openDescriptors(), before) << "a loop that was half made leaves nothing";
        const Pipe pipe;
        int fired = 0;
        DescriptorSource source(pipe.reader(), [&] { fired += pipe.take() == 'x' ? 1 : 0; });
        source.add();
        pipe.put('x');
        EXPECT_EQ(passesWithWork(), 1);
        EXPECT_EQ(fired, 1);
    });
}

TEST_F(RunLoopFaults, WithoutADescriptorAnotherModeIsNotMadeAndTheLoopRunsOn)
{
    onAThread([] {
        int fired = 0;
        SignalSource source([&] { ++fired; });
        CFRunLoopGetCurrent();
        {
            const DescriptorLimit limit(0);
            EXPECT_EQ(errorOf([&] { source.add(CFSTR("another")); }), EMFILE);
            EXPECT_FALSE(source.isIn(CFSTR("another")));
            source.add();
        }
        source.add(CFSTR("another"));
        source.signal();
        EXPECT_EQ(pass(true, CFSTR("another")), kCFRunLoopRunHandledSource);
        EXPECT_EQ(fired, 1);
    });
}

TEST_F(RunLoopFaults, ALoopWhoseSetOthersHaveClosedSaysSoInsteadOfSpinning)
{
    onAThread([] {
        const Pipe pipe;
        DescriptorSource source(pipe.reader(), [] {});
        source.add();
        ::close(qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent()));
        for (const CFTimeInterval seconds : {0.0, kDeadlineSeconds}) {
            EXPECT_EQ(errorOf([&] { CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false); }), EBADF);
        }
        EXPECT_EQ(errorOf([] { CFRunLoopRun(); }), EBADF);
    });
}

TEST_F(RunLoopFaults, ALoopWhoseSetIsClosedInACallbackSaysSo)
{
    onAThread([] {
        const Pipe pipe;
        DescriptorSource source(pipe.reader(), [] { ::close(qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent())); });
        source.add();
        pipe.put('x');
        EXPECT_EQ(errorOf([] { CFRunLoopRun(); }), EBADF);
    });
}

TEST_F(RunLoopFaults, ANumberThatNowNamesAnotherFileIsLeftAlone)
{
    const Pipe given;
    int number = -1;
    onAThread([&] {
        const Pipe pipe;
        DescriptorSource source(pipe.reader(), [] {});
        source.add();
        number = qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent());
        ASSERT_EQ(::dup3(given.reader(), number, O_CLOEXEC), number);
        EXPECT_EQ(errorOf([] { CFRunLoopRun(); }), EINVAL);
        given.put('x');
        EXPECT_TRUE(isReadable(number));
    });
    EXPECT_EQ(::close(number), 0) << "the thread's end closed a file of the application";
}

TEST_F(RunLoopFaults, WakingALoopWhoseEventOthersHaveClosedSaysSo)
{
    onAThread([] {
        std::vector<int> before = openDescriptors();
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        SignalSource source([] {});
        source.add();
        for (const int number : openDescriptors()) {
            if (!std::binary_search(before.begin(), before.end(), number) &&
                number != qrx::cf::runLoopDescriptor(loop)) {
                ::close(number);
            }
        }
        EXPECT_EQ(errorOf([&] { CFRunLoopWakeUp(loop); }), EBADF);
        EXPECT_EQ(errorOf([] { CFRunLoopRun(); }), EBADF) << "nobody can wake it";
    });
}

TEST_F(RunLoopFaults, AStopThatCannotWakeTheLoopSaysSoAndCounts)
{
    onAThread([] {
        const std::vector<int> before = openDescriptors();
        const CFRunLoopRef loop = CFRunLoopGetCurrent();
        int stopError = 0;
        SignalSource source([&] { onAThread([&] { stopError = errorOf([&] { CFRunLoopStop(loop); }); }); });
        source.add();
        for (const int number : openDescriptors()) {
            if (!std::binary_search(before.begin(), before.end(), number) &&
                number != qrx::cf::runLoopDescriptor(loop)) {
                ::close(number);
            }
        }
        source.signal();
        EXPECT_EQ(errorOf([] { CFRunLoopRun(); }), 0) << "the run that was stopped ends";
        EXPECT_EQ(stopError, EBADF);
    });
}

class RunLoopInAChild : public RunLoopFaults, public testing::WithParamInterface<ChildEnd> {};
INSTANTIATE_TEST_SUITE_P(Ends, RunLoopInAChild, testing::Values(ChildEnd::exit, ChildEnd::quit));

TEST_P(RunLoopInAChild, LetsItsSourcesGoAndTheParentHearsOn)
{
    const Pipe pipe;
    int fired = 0;
    DescriptorSource source(pipe.reader(), [&] {
        pipe.take();
        ++fired;
    });
    source.add();
    EXPECT_EQ(runInChild(
                  [&] {
                      CFRunLoopWakeUp(CFRunLoopGetCurrent());
                      source.remove();
                      source.add();
                      source.invalidate();
                  },
                  GetParam()),
              0);
    EXPECT_FALSE(isReadable(qrx::cf::runLoopDescriptor(CFRunLoopGetCurrent()))) << "the child woke the parent";
    for (int count = 1; count <= 3; ++count) {
        pipe.put('x');
        EXPECT_EQ(passesWithWork(), 1);
        EXPECT_EQ(fired, count);
    }
}

TEST_P(RunLoopInAChild, CannotRunTheLoopOfItsParent)
{
    const Pipe pipe;
    int fired = 0;
    DescriptorSource source(pipe.reader(), [&] {
        pipe.take();
        ++fired;
    });
    source.add();
    pipe.put('x');
    constexpr int kRefused = 3;
    const auto runs = [&] {
        if (errorOf([] { CFRunLoopRun(); }) == EPERM) {
            ::_exit(kRefused);
        }
    };
    EXPECT_EQ(runInChild(runs, GetParam()), kRefused);
    CFRunLoopWakeUp(CFRunLoopGetCurrent());
    EXPECT_EQ(runInChild(runs, GetParam()), kRefused) << "with a wake that waits";
    EXPECT_EQ(passesWithWork(), 1);
    EXPECT_EQ(fired, 1);
}

TEST_F(RunLoopFaults, AChildMadeInACallbackLeavesTheLoopByAnException)
{
    const Pipe pipe;
    DescriptorSource source(pipe.reader(), [] {});
    source.add();
    pipe.put('x');
    pid_t child = -1;
    source.onPerform = [&] {
        pipe.take();
        child = ::fork();
        if (child == 0) {
            ::alarm(20);
        } else {
            CFRunLoopStop(CFRunLoopGetCurrent());
        }
    };
    const int error = errorOf([] { CFRunLoopRun(); });
    if (child == 0) {
        ::_exit(error == EPERM ? 3 : 4);
    }
    EXPECT_EQ(error, 0);
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST_F(RunLoopFaults, NoDescriptorSurvivesAnExec)
{
    onAThread([] {
        const std::vector<int> before = openDescriptors();
        SignalSource source([] {});
        source.add();
        source.add(CFSTR("another"));
        std::vector<int> own;
        for (const int number : openDescriptors()) {
            if (!std::binary_search(before.begin(), before.end(), number)) {
                own.push_back(::fcntl(number, F_GETFD));
            }
        }
        EXPECT_EQ(own, std::vector<int>(3, FD_CLOEXEC));
    });
}

} // namespace
