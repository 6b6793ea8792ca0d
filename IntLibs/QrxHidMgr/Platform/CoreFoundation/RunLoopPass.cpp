// A pass of a run: fire the version-0 sources that are signalled, in their order; then fire one version-1 source; then
// see whether the run is over. The version-1 source is the next of those that the last look at the descriptors has
// found. If none of them is left, the pass waits for one, or only looks if something has been fired or the loop was
// woken. A look finds several sources only for a run that may serve several. What it has found is looked for again
// after a run, since the application's code, nested runs included, decides in between what becomes of it.

#include "CFRunLoop.h"

using namespace qrx::cf;
using qrx::platform::Deadline;

/// Makes a run the innermost one, and at its end the outer one again. Made with the mutex held. Its destructor needs
/// the mutex too; an exception of a callback arrives there without it, so the destructor takes it then. Apart from the
/// run, to which others point, so that the compiler keeps it in registers.
class __CFRunLoop::RunScope {
public:
    RunScope(__CFRunLoop& loop, Run& run, Lock& lock) : _loop(loop), _run(run), _lock(lock)
    {
        _loop._innermost = &run;
        run.mode.doubtFound(); // the application may have served or closed those descriptors since
        _loop.forgetStop();    // it was meant for a run that is over
    }
    RunScope(const RunScope&) = delete;
    RunScope& operator=(const RunScope&) = delete;
    [[gnu::always_inline]] ~RunScope()
    {
        if (!_lock.isHeld()) {
            _lock.lock();
        }
        _loop._innermost = _run.outer;
        if (_loop.hasNotes() || _run.outer != nullptr || _loop.defaultMode().hasDue()) [[unlikely]] {
            _loop.settle(_run.outer);
        }
    }

private:
    __CFRunLoop& _loop;
    Run& _run;
    Lock& _lock;
};

bool __CFRunLoop::fireIfStillDue(CFRunLoopSourceRef source, const RunLoopMode& mode, Lock& lock)
{
    if (!source->_signalled || source->membershipIn(mode) == nullptr) {
        return false;
    }
    // Before the callback, so that a signal during the callback counts for the next pass.
    source->clearSignal();
    lock.unlock();
    source->perform();
    lock.lock();
    return true;
}

bool __CFRunLoop::fireVersion0(RunLoopMode& mode, bool onlyOne, Lock& lock)
{
    // A copy with references: callbacks may add, remove or destroy sources of the mode. Each one is asked again before
    // it is fired.
    auto due = mode.signalledVersion0();
    bool fired = false;
    for (const auto& source : due) {
        fired = fireIfStillDue(source.get(), mode, lock) || fired;
        if (fired && onlyOne) {
            break;
        }
    }
    lock.unlock();
    due.clear(); // may destroy a source, which calls out
    lock.lock();
    return fired;
}

inline void __CFRunLoop::fire(Reference<CFRunLoopSourceRef> source, Lock& lock)
{
    lock.unlock();
    // The mode does not retain the source during the call: this reference does, even if the callback removes it.
    source->perform();
    source = {}; // may destroy the source, which calls out
    lock.lock();
}

/// Apart from the pass, since most passes have nothing of this.
[[gnu::cold, gnu::noinline]] __CFRunLoop::Served __CFRunLoop::serveSignals(Run& run, bool servesOne)
{
    Lock lock;
    requireWake();
    const bool isFired = run.mode.hasSignalledVersion0() && fireVersion0(run.mode, servesOne, lock);
    const bool isWoken = takeWake();
    // Signals and descriptors take turns: neither a source that is signalled all the time nor a descriptor that is
    // always readable can starve the other kind.
    if (run.mode.isSignalsTurn()) {
        fire(run.mode.takeSignalled(), lock);
        return {true, true, true};
    }
    // Looking without waiting is also right for a run that is over, because it was stopped or its last source was
    // removed: the pass then ends it.
    const bool isOver = run.mode.empty() || run.isStopped;
    return {isFired, false, isFired || isWoken || run.mode.hasSignalled() || hasNote(kRequests) || isOver};
}

inline bool __CFRunLoop::fireReported(RunLoopMode& mode, Deadline deadline, DescriptorSet::Look look, Lock& lock)
{
    auto token = mode.takeFound();
    if (!token) {
        lock.unlock();
        token = mode.wait(deadline, look);
        lock.lock();
    }
    for (; token; token = mode.takeFound()) {
        if (*token == RunLoopMode::kWakeToken) [[unlikely]] {
            if (!hasNote(kArmed)) {
                drainWakeEvent(); // a request has written
            }
            takeWake();
        } else if (auto source = mode.takeReported(*token)) {
            fire(std::move(source), lock);
            return true;
        }
    }
    // A signal may have come during the wait, when the mutex was free.
    if (mode.hasSignalled()) [[unlikely]] {
        fire(mode.takeSignalled(), lock);
        return true;
    }
    return false;
}

SInt32 __CFRunLoop::run(CFStringRef modeName, Deadline deadline, bool returnAfterSourceHandled)
{
    Lock lock;
    // A mode is made when its first source is added, so an unknown one is empty.
    RunLoopMode* const mode = findMode(modeName);
    if (mode == nullptr || mode->empty()) {
        finishEmpty(mode);
        return kCFRunLoopRunFinished;
    }
    Run run{*mode, _innermost};
    const RunScope scope(*this, run, lock);
    const auto look = returnAfterSourceHandled ? DescriptorSet::Look::one : DescriptorSet::Look::several;
    for (;;) {
        requireOwnProcess();
        Served served{};
        if (hasNotes() || mode->hasDue()) [[unlikely]] {
            lock.unlock();
            served = serveSignals(run, returnAfterSourceHandled);
            lock.lock();
        }
        bool handled = served.any;
        if (!served.signalsTurn) {
            handled = fireReported(*mode, served.onlyLook ? Deadline::now() : deadline, look, lock) || handled;
        }
        if (handled && returnAfterSourceHandled) {
            return kCFRunLoopRunHandledSource;
        }
        if (hasNote(kRequests)) [[unlikely]] {
            if (const std::optional<SInt32> result = answerRequests(returnAfterSourceHandled)) {
                return *result;
            }
        }
        // Deliberate: the platform's order of results is handled, timed out, stopped, finished. So a run of 0 seconds
        // that serves more than one source has timed out even if it has fired some, or CFRunLoopStop was called.
        if (deadline.passed()) {
            return kCFRunLoopRunTimedOut;
        }
        if (run.isStopped) {
            return kCFRunLoopRunStopped;
        }
        if (mode->empty()) {
            return kCFRunLoopRunFinished;
        }
    }
}
