#include "QrxRunLoop.h"

#include "Base/SystemCalls.h"
#include "RunLoopSources.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Outcome = QrxRunLoop::Outcome;
using Names = std::vector<std::string>;

constexpr double kDeadlineSeconds = 10;
constexpr auto kNeverDuringATest = 1h;

bool isReadable(int descriptor)
{
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, 0) == 1;
}

class Loop : public testing::Test {
protected:
    std::function<void()> noting(const std::string& name)
    {
        return [this, name] { _names.push_back(name); };
    }

    QrxRunLoop _loop = QrxRunLoop::getCurrent();
    Names _names;
};

using Posted = Loop;

TEST_F(Posted, FunctionsAreCalledInTheirOrderAndThenTheLoopIsFinished)
{
    _loop.post(noting("a"));
    _loop.post(noting("b"));
    EXPECT_TRUE(_names.empty());
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_EQ((Names{"a", "b"}), _names);
}

TEST_F(Posted, FunctionsAreOneForEachRunOnce)
{
    _loop.post(noting("a"));
    _loop.post(noting("b"));
    EXPECT_TRUE(isReadable(_loop.getFileDescriptor()));
    EXPECT_EQ(Outcome::handled, _loop.runOnce(0));
    EXPECT_EQ((Names{"a"}), _names);
    EXPECT_TRUE(isReadable(_loop.getFileDescriptor()));
    EXPECT_EQ(Outcome::handled, _loop.runOnce(0));
    EXPECT_EQ(Outcome::finished, _loop.runOnce(0));
    EXPECT_FALSE(isReadable(_loop.getFileDescriptor()));
}

TEST_F(Posted, FunctionsOfOtherThreadsAreCalledHere)
{
    const auto here = std::this_thread::get_id();
    std::thread other([&] {
        for (int number = 0; number < 1000; ++number) {
            _loop.post([&, number] {
                EXPECT_EQ(here, std::this_thread::get_id());
                _names.push_back(std::to_string(number));
            });
        }
    });
    const QrxRunLoop::Timer alive = _loop.callAfter(kNeverDuringATest, [] {});
    while (_names.size() < 1000 && _loop.runOnce(kDeadlineSeconds) == Outcome::handled) {
    }
    other.join();
    _loop.cancel(alive);
    ASSERT_EQ(1000u, _names.size());
    EXPECT_EQ("999", _names.back());
}

TEST_F(Posted, FunctionThatThrowsLeavesTheOthersToTheNextRun)
{
    _loop.post([] { throw std::runtime_error("posted"); });
    _loop.post(noting("b"));
    EXPECT_THROW(_loop.run(), std::runtime_error);
    EXPECT_EQ(Outcome::finished, _loop.run());
    EXPECT_EQ((Names{"b"}), _names);
}

TEST_F(Posted, FunctionMayPostAndRunTheLoopItself)
{
    _loop.post([&] {
        _loop.post(noting("inner"));
        EXPECT_EQ(Outcome::handled, _loop.runOnce(kDeadlineSeconds));
        EXPECT_EQ((Names{"inner"}), _names);
        _loop.post(noting("later"));
    });
    EXPECT_EQ(Outcome::finished, _loop.run());
    EXPECT_EQ((Names{"inner", "later"}), _names);
}

TEST_F(Posted, FunctionForALoopWhoseThreadEndedIsNotCalled)
{
    std::optional<QrxRunLoop> ended;
    std::thread([&] { ended = QrxRunLoop::getCurrent(); }).join();
    ended->post(noting("nobody"));
    ended->stop();
    ended->wake();
    EXPECT_EQ(-1, ended->getFileDescriptor());
    EXPECT_TRUE(_names.empty());
}

using Timers = Loop;

TEST_F(Timers, AreCalledInTheOrderOfTheirTimesNotOfTheirStarts)
{
    // Each time counts from its own start, so starts that together take as long as the gap may change the order.
    std::vector<QrxRunLoop::Timer> timers;
    for (auto gap = 2ms;; gap *= 4) {
        const auto began = std::chrono::steady_clock::now();
        timers = {_loop.callAfter(3 * gap, noting("third")), _loop.callAfter(gap, noting("first")),
                  _loop.callAfter(2 * gap, noting("second"))};
        if (std::chrono::steady_clock::now() - began < gap) {
            break;
        }
        ASSERT_LT(gap, 1s) << "the starts take longer than any gap";
        for (const QrxRunLoop::Timer timer : timers) {
            ASSERT_TRUE(_loop.cancel(timer));
        }
    }
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_EQ((Names{"first", "second", "third"}), _names);
}

TEST_F(Timers, AreNotCalledBeforeTheirTime)
{
    const auto start = std::chrono::steady_clock::now();
    auto called = start;
    _loop.callAfter(20ms, [&] { called = std::chrono::steady_clock::now(); });
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_GE(called - start, 20ms);
}

TEST_F(Timers, OfTheSameTimeAreCalledAsTheyWereStarted)
{
    for (const char* name : {"a", "b", "c"}) {
        _loop.callAfter(-1s, noting(name));
    }
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_EQ((Names{"a", "b", "c"}), _names);
}

TEST_F(Timers, AreRepeatedUntilTheyCancelThemselves)
{
    QrxRunLoop::Timer timer = 0;
    timer = _loop.callEvery(1ms, [&] {
        _names.push_back("tick");
        if (_names.size() == 3) {
            EXPECT_TRUE(_loop.cancel(timer));
        }
    });
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_EQ(3u, _names.size());
    EXPECT_FALSE(_loop.cancel(timer));
}

TEST_F(Timers, AreRepeatedNoEarlierThanAfterEachInterval)
{
    using Clock = std::chrono::steady_clock;
    constexpr auto kInterval = 20ms;
    const Clock::time_point start = Clock::now();
    QrxRunLoop::Timer timer = 0;
    timer = _loop.callEvery(kInterval, [&] {
        _names.push_back("tick");
        EXPECT_GE(Clock::now() - start, _names.size() * kInterval);
        if (_names.size() == 3) {
            _loop.cancel(timer);
        }
    });
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_EQ(3u, _names.size());
}

TEST_F(Timers, ThatAreCancelledAreNotCalled)
{
    const QrxRunLoop::Timer first = _loop.callAfter(0ms, noting("first"));
    const QrxRunLoop::Timer second = _loop.callAfter(1ms, noting("second"));
    const QrxRunLoop::Timer third = _loop.callAfter(2ms, noting("third"));
    EXPECT_TRUE(_loop.cancel(first));
    EXPECT_TRUE(_loop.cancel(third));
    EXPECT_FALSE(_loop.cancel(third));
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_EQ((Names{"second"}), _names);
    EXPECT_FALSE(_loop.cancel(second));
    EXPECT_FALSE(_loop.cancel(0));
}

TEST_F(Timers, ThatThrowAreOverAndARepeatedOneGoesOn)
{
    int calls = 0;
    QrxRunLoop::Timer timer = 0;
    timer = _loop.callEvery(1ms, [&] {
        if (++calls == 2) {
            _loop.cancel(timer);
        }
        throw std::runtime_error("tick");
    });
    EXPECT_THROW(_loop.run(), std::runtime_error);
    EXPECT_THROW(_loop.run(), std::runtime_error);
    EXPECT_EQ(Outcome::finished, _loop.run());
    EXPECT_EQ(2, calls);
}

TEST_F(Timers, MayComeInAnyNumber)
{
    std::vector<QrxRunLoop::Timer> timers;
    int calls = 0;
    for (int number = 0; number < 1000; ++number) {
        timers.push_back(_loop.callAfter(std::chrono::microseconds(number * 7919 % 1000), [&] { ++calls; }));
    }
    for (std::size_t index = 0; index < timers.size(); index += 2) {
        EXPECT_TRUE(_loop.cancel(timers[index]));
    }
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
    EXPECT_EQ(500, calls);
}

TEST_F(Timers, KeepTheLoopFromBeingFinished)
{
    const QrxRunLoop::Timer timer = _loop.callAfter(kNeverDuringATest, noting("never"));
    EXPECT_EQ(Outcome::timedOut, _loop.runFor(0.001));
    _loop.cancel(timer);
    EXPECT_EQ(Outcome::finished, _loop.runFor(kDeadlineSeconds));
}

/// A loop that has something to wait for.
class Waiting : public Loop {
protected:
    Waiting() : _timer(_loop.callAfter(kNeverDuringATest, [] {})) {}
    ~Waiting() override { _loop.cancel(_timer); }

    const QrxRunLoop::Timer _timer;
};

TEST_F(Waiting, RunOnceReturnsWhenItIsWoken)
{
    std::thread other([this] { _loop.wake(); });
    EXPECT_EQ(Outcome::woken, _loop.runOnce(kDeadlineSeconds));
    other.join();
    EXPECT_EQ(Outcome::timedOut, _loop.runOnce(0));
}

TEST_F(Waiting, AWakeBeforeRunOnceIsNotForgotten)
{
    _loop.wake();
    EXPECT_TRUE(isReadable(_loop.getFileDescriptor()));
    EXPECT_EQ(Outcome::woken, _loop.runOnce(0));
    EXPECT_FALSE(isReadable(_loop.getFileDescriptor()));
    EXPECT_EQ(Outcome::timedOut, _loop.runOnce(0));
}

TEST_F(Waiting, AWakeDoesNotEndARun)
{
    _loop.callAfter(2ms, [this] { _loop.wake(); });
    EXPECT_EQ(Outcome::timedOut, _loop.runFor(0.02));
}

TEST_F(Waiting, AStopEndsTheInnermostRun)
{
    _loop.post([this] {
        _loop.post([this] { _loop.stop(); });
        EXPECT_EQ(Outcome::stopped, _loop.runFor(kDeadlineSeconds));
        _names.push_back("inner");
    });
    EXPECT_EQ(Outcome::timedOut, _loop.runFor(0.05));
    EXPECT_EQ((Names{"inner"}), _names);
}

TEST_F(Waiting, AStopOfALoopThatDoesNotRunIsForgotten)
{
    _loop.stop();
    EXPECT_EQ(Outcome::timedOut, _loop.runFor(0.01));
    EXPECT_FALSE(isReadable(_loop.getFileDescriptor()));
    _loop.post([this] { _loop.stop(); });
    EXPECT_EQ(Outcome::handled, _loop.runOnce(kDeadlineSeconds));
    EXPECT_EQ(Outcome::timedOut, _loop.runFor(0.01));
}

TEST_F(Waiting, AStopOfAnotherThreadEndsTheWait)
{
    std::thread other([this] { _loop.post([this] { std::thread([this] { _loop.stop(); }).join(); }); });
    EXPECT_EQ(Outcome::stopped, _loop.runFor(kDeadlineSeconds));
    other.join();
}

std::atomic<QrxRunLoop*> sm_Signalled{nullptr};

TEST_F(Waiting, StopAndWakeMayBeCalledByASignalHandler)
{
    sm_Signalled = &_loop;
    struct sigaction action {};
    struct sigaction earlier {};
    action.sa_handler = [](int) { sm_Signalled.load()->stop(); };
    ::sigaction(SIGUSR1, &action, &earlier);
    // The handler may interrupt this thread anywhere: in the wait, in a callback, with the loop's lock held.
    for (int round = 0; round < 200; ++round) {
        std::atomic<bool> isOver{false};
        std::thread other([&, self = ::pthread_self()] {
            while (!isOver) {
                ::pthread_kill(self, SIGUSR1);
            }
        });
        const QrxRunLoop::Timer busy = _loop.callEvery(1us, [] {});
        EXPECT_EQ(Outcome::stopped, _loop.runFor(kDeadlineSeconds));
        isOver = true;
        other.join();
        _loop.cancel(busy);
    }
    action.sa_handler = [](int) { sm_Signalled.load()->wake(); };
    ::sigaction(SIGUSR1, &action, nullptr);
    ::raise(SIGUSR1);
    EXPECT_EQ(Outcome::woken, _loop.runOnce(kDeadlineSeconds));
    ::sigaction(SIGUSR1, &earlier, nullptr);
}

/// A shell lets what it starts in the background ignore SIGINT; these tests begin with the usual handling.
class Signals : public Waiting {
protected:
    Signals() : _earlier(::signal(SIGINT, SIG_DFL)) {}
    ~Signals() override { ::signal(SIGINT, _earlier); }

private:
    const sighandler_t _earlier;
};

TEST_F(Signals, EndTheRunAndTheHandlersAreAsBefore)
{
    for (const int number : {SIGINT, SIGTERM}) {
        struct sigaction before {};
        struct sigaction after {};
        ::sigaction(number, nullptr, &before);
        _loop.post([number] { ::raise(number); });
        EXPECT_EQ(Outcome::stopped, _loop.runUntilSignal());
        ::sigaction(number, nullptr, &after);
        EXPECT_EQ(before.sa_handler, after.sa_handler);
    }
    EXPECT_EQ(Outcome::timedOut, _loop.runFor(0.001));
}

TEST_F(Signals, InsideANestedRunEndBothRuns)
{
    _loop.post([this] {
        _loop.post([] { ::raise(SIGINT); });
        EXPECT_EQ(Outcome::stopped, _loop.runFor(kDeadlineSeconds));
        EXPECT_EQ(Outcome::stopped, _loop.runOnce(kDeadlineSeconds));
        EXPECT_THROW(_loop.runUntilSignal(), std::logic_error);
    });
    EXPECT_EQ(Outcome::stopped, _loop.runUntilSignal());
}

/// The kernel, but a signal handler on the chosen thread stays in its write until the watched run has returned, or for
/// as long as it is given.
class SlowHandler : public qrx::platform::SystemCalls {
public:
    SlowHandler() : _earlier(replaceOfProcess(this)) {}
    ~SlowHandler() override { replaceOfProcess(_earlier); }

    ssize_t write(int fd, const void* bytes, std::size_t size) override
    {
        if (::pthread_equal(::pthread_self(), slowThread) != 0) {
            isInHandler = true;
            const auto until = std::chrono::steady_clock::now() + 100ms;
            while (!hasReturned && std::chrono::steady_clock::now() < until) {
            }
            wasLeftBehind = hasReturned.load();
        }
        return SystemCalls::write(fd, bytes, size);
    }

    std::atomic<pthread_t> slowThread{};
    std::atomic<bool> isInHandler{false};
    std::atomic<bool> hasReturned{false};
    std::atomic<bool> wasLeftBehind{false};

private:
    SystemCalls* const _earlier;
};

TEST_F(Signals, WhoseHandlerIsStillAtWorkOnAnotherThreadAreWaitedFor)
{
    SlowHandler calls;
    // A loop of its own, made with those calls.
    std::thread([&calls] {
        QrxRunLoop loop = QrxRunLoop::getCurrent();
        const QrxRunLoop::Timer alive = loop.callAfter(kNeverDuringATest, [] {});
        std::thread other;
        loop.post([&] {
            other = std::thread([&calls] {
                calls.slowThread = ::pthread_self();
                ::raise(SIGINT);
            });
            while (!calls.isInHandler) {
                std::this_thread::yield();
            }
            throw std::runtime_error("posted");
        });
        EXPECT_THROW(loop.runUntilSignal(), std::runtime_error);
        calls.hasReturned = true;
        other.join();
        EXPECT_FALSE(calls.wasLeftBehind) << "the handler could still have ended a later run";
        EXPECT_EQ(Outcome::timedOut, loop.runFor(0.001));
        loop.cancel(alive);
    }).join();
}

#if defined(__has_feature)
constexpr bool kKeepsSignalsBack = __has_feature(thread_sanitizer);
#elif defined(__SANITIZE_THREAD__)
constexpr bool kKeepsSignalsBack = true;
#else
constexpr bool kKeepsSignalsBack = false;
#endif

/// Whether the thread sleeps in a read. Of one that does not sleep the kernel says "running".
bool isReading(pid_t thread)
{
    std::ifstream file("/proc/self/task/" + std::to_string(thread) + "/syscall");
    long systemCall = -1;
    file >> systemCall;
    return systemCall == SYS_read;
}

TEST_F(Signals, DoNotEndTheReadsOfOtherThreads)
{
    if (kKeepsSignalsBack) {
        GTEST_SKIP() << "ThreadSanitizer keeps a signal back until the read that it interrupts has returned";
    }
    int ends[2] = {-1, -1};
    ASSERT_EQ(::pipe(ends), 0);
    char byte = '\0';
    ssize_t count = -1;
    std::atomic<pid_t> readingThread{0};
    std::thread reader;
    _loop.post([&] {
        reader = std::thread([&] {
            readingThread = ::gettid();
            count = ::read(ends[0], &byte, 1);
        });
        const auto deadline = std::chrono::steady_clock::now() + 10s;
        while (!isReading(readingThread) && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::yield();
        }
        EXPECT_TRUE(isReading(readingThread));
        ::pthread_kill(reader.native_handle(), SIGINT);
    });
    EXPECT_EQ(Outcome::stopped, _loop.runUntilSignal());
    EXPECT_EQ(::write(ends[1], "x", 1), 1);
    reader.join();
    EXPECT_EQ(count, 1);
    EXPECT_EQ(byte, 'x');
    ::close(ends[0]);
    ::close(ends[1]);
}

TEST_F(Signals, ThatTheProcessIgnoresAreIgnored)
{
    struct sigaction ignoring {};
    struct sigaction earlier {};
    ignoring.sa_handler = SIG_IGN;
    ::sigaction(SIGINT, &ignoring, &earlier);
    _loop.post([] { ::raise(SIGINT); });
    _loop.callAfter(5ms, [this] { _loop.stop(); });
    EXPECT_EQ(Outcome::stopped, _loop.runUntilSignal());
    EXPECT_EQ(Outcome::timedOut, _loop.runFor(0.001));
    ::sigaction(SIGINT, &earlier, nullptr);
}

TEST_F(Waiting, RunUntilSignalEndsLikeRun)
{
    _loop.post([this] { _loop.stop(); });
    EXPECT_EQ(Outcome::stopped, _loop.runUntilSignal());
    _loop.post([] { throw std::runtime_error("posted"); });
    EXPECT_THROW(_loop.runUntilSignal(), std::runtime_error);
}

TEST_F(Loop, OfAnotherThreadIsRefused)
{
    std::thread([loop = _loop]() mutable {
        EXPECT_THROW(loop.run(), std::logic_error);
        EXPECT_THROW(loop.runFor(0), std::logic_error);
        EXPECT_THROW(loop.runOnce(0), std::logic_error);
        EXPECT_THROW(loop.runUntilSignal(), std::logic_error);
        EXPECT_THROW(loop.callAfter(1s, [] {}), std::logic_error);
        EXPECT_THROW(loop.callEvery(1s, [] {}), std::logic_error);
        EXPECT_THROW(loop.cancel(1), std::logic_error);
    }).join();
}

} // namespace
