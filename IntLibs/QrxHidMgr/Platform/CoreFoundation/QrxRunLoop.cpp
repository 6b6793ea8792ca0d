#include "QrxRunLoop.h"

#include "LoopTasks.h"
#include "RunLoopRequests.h"

#ifndef __APPLE__
#include "Base/SystemError.h"
#include "RunLoopDescriptor.h"
#endif

#include <CoreFoundation/CoreFoundation.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

namespace {

QrxRunLoop::Outcome outcomeOf(SInt32 result)
{
    switch (result) {
    case kCFRunLoopRunFinished:
        return QrxRunLoop::Outcome::finished;
    case kCFRunLoopRunStopped:
        return QrxRunLoop::Outcome::stopped;
    case kCFRunLoopRunHandledSource:
        return QrxRunLoop::Outcome::handled;
#ifndef __APPLE__
    case qrx::cf::kRunLoopRunWoken:
        return QrxRunLoop::Outcome::woken;
#endif
    default:
        return QrxRunLoop::Outcome::timedOut;
    }
}

SInt32 runDefaultMode([[maybe_unused]] CFRunLoopRef loop, double seconds, bool servesOne)
{
#ifdef __APPLE__
    return CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, servesOne);
#else
    // Without looking up the thread's loop again, which is measurable for a loop that is run once per report.
    return qrx::cf::runDefaultMode(loop, seconds, servesOne);
#endif
}

/// The loop that a signal ends, while there is one. Read by the handler.
std::atomic<CFRunLoopRef> sm_Interrupted{nullptr};
std::atomic<bool> sm_HasSignal{false};
/// Handlers that are at work, each perhaps with the loop that it has read; they may run on any thread.
std::atomic<int> sm_Handlers{0};

static_assert(std::atomic<CFRunLoopRef>::is_always_lock_free && std::atomic<bool>::is_always_lock_free &&
              std::atomic<int>::is_always_lock_free);

/// Counts a handler while it lives; also when its thread is cancelled in the handler's system call.
struct HandlerCount {
    HandlerCount() { ++sm_Handlers; }
    HandlerCount(const HandlerCount&) = delete;
    HandlerCount& operator=(const HandlerCount&) = delete;
    ~HandlerCount() { --sm_Handlers; }
};

void noteSignal(int)
{
    // Before the loop is read: the watch removes the loop first and looks at the count afterwards.
    const HandlerCount counted;
    sm_HasSignal = true;
#ifndef __APPLE__
    if (const CFRunLoopRef loop = sm_Interrupted) {
        // The result is ignored: a handler has nobody to report it to. If the event descriptor was closed by others,
        // the note still ends the run, once the signal or something else has ended its wait.
        static_cast<void>(qrx::cf::requestOfRunLoop(loop, qrx::cf::RunLoopRequest::end));
    }
#endif
}

/// Lets SIGINT and SIGTERM end the runs of a loop while it lives.
class SignalWatch {
public:
    explicit SignalWatch(CFRunLoopRef loop)
    {
        CFRunLoopRef none = nullptr;
        if (!sm_Interrupted.compare_exchange_strong(none, loop)) {
            throw std::logic_error("a loop of this process runs until a signal already");
        }
        sm_HasSignal = false;
        for (std::size_t index = 0; index < kSignals.size(); ++index) {
            ::sigaction(kSignals[index], nullptr, &_earlier[index]);
            // An ignored one stays so: a shell starts background commands with SIGINT ignored, so that Ctrl-C ends only
            // what runs in the foreground.
            if (_earlier[index].sa_handler != SIG_IGN) {
                struct sigaction action {};
                action.sa_handler = noteSignal;
                // Reads and writes that it interrupts go on. Waits (epoll, poll, sleeps), the loop's own among them,
                // end all the same.
                action.sa_flags = SA_RESTART;
                sigemptyset(&action.sa_mask);
                ::sigaction(kSignals[index], &action, nullptr);
            }
        }
    }
    SignalWatch(const SignalWatch&) = delete;
    SignalWatch& operator=(const SignalWatch&) = delete;
    ~SignalWatch()
    {
        for (std::size_t index = 0; index < kSignals.size(); ++index) {
            ::sigaction(kSignals[index], &_earlier[index], nullptr);
        }
        const CFRunLoopRef loop = sm_Interrupted.exchange(nullptr);
        waitForHandlers();
#ifndef __APPLE__
        qrx::cf::takeBackOfRunLoop(loop, qrx::cf::RunLoopRequest::end);
#else
        static_cast<void>(loop);
#endif
    }

    static bool hasSignal()
    {
        return sm_HasSignal;
    }

private:
    /// A handler on another thread that has read the loop may not have left its request yet. It would come after the
    /// run that it was meant for and end the next one, or reach a loop that is no more.
    void waitForHandlers() const
    {
        // A handler takes microseconds. Sleeping in place of spinning lets one on a thread of lower priority finish. In
        // a child that fork made, the threads of those handlers do not exist, so it does not wait for them.
        constexpr std::chrono::microseconds kPause{100};
        while (sm_Handlers != 0 && ::getpid() == _process) {
            std::this_thread::sleep_for(kPause);
        }
    }

    static constexpr std::array<int, 2> kSignals{SIGINT, SIGTERM};
    const pid_t _process = ::getpid();
    std::array<struct sigaction, kSignals.size()> _earlier{};
};

#ifndef __APPLE__
void request(CFRunLoopRef loop, qrx::cf::RunLoopRequest request)
{
    if (!qrx::cf::requestOfRunLoop(loop, request)) {
        qrx::platform::throwSystemError(EBADF, "the event descriptor of a run loop was closed by others");
    }
}
#endif

} // namespace

/// Shared by all handles on a thread's loop.
struct QrxRunLoop::Body {
    explicit Body(CFRunLoopRef current) : loop(current), tasks(std::make_shared<qrx::LoopTasks>(current))
    {
        CFRetain(loop);
    }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    ~Body()
    {
        tasks.reset();
        CFRelease(loop);
    }

    void requireOwnThread() const
    {
        if (CFRunLoopGetCurrent() != loop) {
            throw std::logic_error("a run loop is used on another thread than its own");
        }
    }
    Outcome run(double seconds, bool servesOne) const
    {
        requireOwnThread();
        return outcomeOf(runDefaultMode(loop, seconds, servesOne));
    }

    const CFRunLoopRef loop;
    std::shared_ptr<qrx::LoopTasks> tasks;
};

QrxRunLoop QrxRunLoop::getCurrent()
{
    // The thread keeps the body until it ends, so that posted functions and timers stay when the last handle goes.
    std::shared_ptr<void>& kept = qrx::loopKeptByThread();
    if (!kept) {
        kept = std::make_shared<Body>(CFRunLoopGetCurrent());
    }
    return QrxRunLoop(std::static_pointer_cast<Body>(kept));
}

QrxRunLoop::QrxRunLoop(std::shared_ptr<Body> body) : _body(std::move(body)) {}
QrxRunLoop::QrxRunLoop(const QrxRunLoop& other) = default;
QrxRunLoop& QrxRunLoop::operator=(const QrxRunLoop& other) = default;
QrxRunLoop::~QrxRunLoop() = default;

QrxRunLoop::Outcome QrxRunLoop::run()
{
    return _body->run(qrx::cf::kForever, false);
}

QrxRunLoop::Outcome QrxRunLoop::runFor(double seconds)
{
    return _body->run(seconds, false);
}

QrxRunLoop::Outcome QrxRunLoop::runOnce(double seconds)
{
    return _body->run(seconds, true);
}

QrxRunLoop::Outcome QrxRunLoop::runUntilSignal()
{
    _body->requireOwnThread();
    const SignalWatch watch(_body->loop);
#ifdef __APPLE__
    // The system's loop has no operation that a handler may call.
    constexpr double kLookAgainSeconds = 0.1;
    Outcome outcome = Outcome::timedOut;
    while (outcome == Outcome::timedOut && !SignalWatch::hasSignal()) {
        outcome = _body->run(kLookAgainSeconds, false);
    }
    return SignalWatch::hasSignal() ? Outcome::stopped : outcome;
#else
    return _body->run(qrx::cf::kForever, false);
#endif
}

void QrxRunLoop::stop()
{
#ifdef __APPLE__
    CFRunLoopStop(_body->loop);
#else
    request(_body->loop, qrx::cf::RunLoopRequest::stop);
#endif
}

void QrxRunLoop::wake()
{
#ifdef __APPLE__
    post([] {});
#else
    request(_body->loop, qrx::cf::RunLoopRequest::wake);
#endif
}

void QrxRunLoop::post(std::function<void()> function)
{
    _body->tasks->post(std::move(function));
}

QrxRunLoop::Timer QrxRunLoop::callAfter(std::chrono::nanoseconds delay, std::function<void()> function)
{
    _body->requireOwnThread();
    return _body->tasks->start(std::chrono::duration_cast<qrx::LoopTasks::Clock::duration>(delay), {},
                               std::move(function));
}

QrxRunLoop::Timer QrxRunLoop::callEvery(std::chrono::nanoseconds interval, std::function<void()> function)
{
    _body->requireOwnThread();
    // An interval of zero ticks would mean a single call.
    const auto every = std::max(std::chrono::duration_cast<qrx::LoopTasks::Clock::duration>(interval),
                                qrx::LoopTasks::Clock::duration(1));
    return _body->tasks->start(every, every, std::move(function));
}

bool QrxRunLoop::cancel(Timer timer)
{
    _body->requireOwnThread();
    return _body->tasks->cancel(timer);
}

int QrxRunLoop::getFileDescriptor() const
{
#ifdef __APPLE__
    // The system's run loop waits on a Mach port, which has no descriptor.
    return -1;
#else
    return qrx::cf::runLoopDescriptor(_body->loop);
#endif
}
