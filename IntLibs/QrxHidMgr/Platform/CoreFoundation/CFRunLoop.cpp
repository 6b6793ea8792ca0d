// A run loop waits on one thread for descriptors and for signals of other threads, and calls back what is due. A
// source of version 1 is due when its descriptor is readable; a source of version 0 when somebody has signalled it. A
// mode is a set of sources; a run serves one mode. Runs nest: a callback may run the loop again.
//
// A pass of a run: fire the version-0 sources that are signalled, in their order; then fire one version-1 source; then
// see whether the run is over. The version-1 source is the next of those that the last look at the descriptors has
// found. If none of them is left, the pass waits for one, or only looks if something has been fired or the loop was
// woken. A look finds several sources only for a run that may serve several. What it has found is looked for again
// after a run, since the application's code, nested runs included, decides in between what becomes of it.
//
// Waking costs a write to an event descriptor only if the loop's thread may be waiting, or somebody else waits for the
// loop's descriptor. A callback that wakes or signals in its own loop only leaves a note, which the next pass sees;
// what is left when the outermost run returns makes the descriptor readable then.
//
// One mutex guards what loops, modes and sources know of each other. It is released around every callback, and every
// callback may do anything: remove or destroy sources, stop or run this loop, end with an exception. After each one
// the state is read anew, and references that were taken before keep alive what is still used.
//
// A mode without sources is empty on every thread, the main thread included: a run in it returns at once.

#include "CFRunLoop.h"

#include "RunLoopDescriptor.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

using namespace qrx::cf;
using qrx::platform::Deadline;

namespace {

/// The calling thread's loop. It has no destructor, so that it can still be asked for while the thread ends.
thread_local CFRunLoopRef sm_Current = nullptr;

/// Releases the thread's loop when the thread ends. A loop that is asked for after this (by the destructor of another
/// thread-local object) lives on without its thread.
struct ThreadEnd {
    ~ThreadEnd()
    {
        if (sm_Current != nullptr) {
            const auto loop = Reference<CFRunLoopRef>::adopt(sm_Current);
            loop->end();
            sm_Current = nullptr;
        }
    }
};

/// Apart from CFRunLoopGetCurrent, which is asked before each run and is not to save registers for this.
[[gnu::noinline]] CFRunLoopRef makeCurrent()
{
    // Constructed with the thread's first loop, so that threads without a loop have nothing to destroy.
    thread_local const ThreadEnd sm_ThreadEnd;
    sm_Current = create<__CFRunLoop>(0);
    return sm_Current;
}

__CFRunLoop& loopOf(CFRunLoopRef loop, const char* function)
{
    return checkedMutable<__CFRunLoop>(loop, function);
}

[[gnu::noinline]] void requireText(CFStringRef mode, const char* function)
{
    if (!isObject(mode) || typeOf(mode, function) != Type::string) {
        failForeign(function, mode, Type::string);
    }
}

inline void requireMode(CFStringRef mode, const char* function)
{
    if (mode != kCFRunLoopDefaultMode) {
        requireText(mode, function);
    }
}

} // namespace

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

__CFRunLoop::__CFRunLoop() : Object(kType, kMortal), _wakeEvent(qrx::platform::SystemCalls::ofProcess())
{
    if (!_wakeEvent.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "no run loop can be made");
    }
    _modes.push_back(std::make_unique<RunLoopMode>(kCFRunLoopDefaultMode, _wakeEvent.descriptor()));
}

RunLoopMode* __CFRunLoop::findModeByText(CFStringRef name) const
{
    const auto found =
        std::find_if(_modes.begin(), _modes.end(), [name](const auto& mode) { return CFEqual(mode->name(), name); });
    return found != _modes.end() ? found->get() : nullptr;
}

bool __CFRunLoop::attach(CFRunLoopSourceRef source, CFStringRef modeName)
{
    if (_ended || !source->_valid) {
        return false;
    }
    RunLoopMode* mode = findMode(modeName);
    if (mode == nullptr) {
        mode = _modes.emplace_back(std::make_unique<RunLoopMode>(modeName, _wakeEvent.descriptor())).get();
    }
    if (source->membershipIn(*mode) != nullptr) {
        return false;
    }
    // All memory is taken first: a failure leaves the source and its other modes as they were.
    source->_memberships.reserve(source->_memberships.size() + 1);
    const std::uint32_t slot = mode->add(source);
    // From here on nothing takes memory.
    CFRetain(source);
    source->_memberships.push_back({this, mode, slot});
    // The source may have been signalled before it became a member; a loop that waits already would not see it.
    if (mode->hasSignalled()) {
        wakeIfWaiting();
    }
    return true;
}

Reference<CFRunLoopSourceRef> __CFRunLoop::detach(__CFRunLoopSource& source, RunLoopMode& mode)
{
    // The mode first: it finds its place for the source in the membership that is erased next.
    mode.remove(source, source.membershipIn(mode)->slot);
    std::erase_if(source._memberships, [&mode](const auto& membership) { return membership.mode == &mode; });
    if (mode.empty() && _innermost != nullptr) {
        wakeIfWaiting(); // a run that waits for nothing is over
    }
    return Reference<CFRunLoopSourceRef>::adopt(&source);
}

bool __CFRunLoop::isRunningHere() const
{
    return sm_Current == this && _innermost != nullptr;
}

void __CFRunLoop::arm()
{
    if (!hasNote(kArmed) && !_process.isInherited()) {
        // Armed even if that failed: the loss is noted once, and the owner learns of it by requireWake.
        note(!hasNote(kWakeLost) && _wakeEvent.raise() ? kArmed : kArmed | kWakeLost);
    }
}

void __CFRunLoop::failWakeLost()
{
    throw std::system_error(EBADF, std::generic_category(), "the event descriptor of a run loop was closed by others");
}

void __CFRunLoop::failInherited()
{
    throw std::system_error(EPERM, std::generic_category(), "a child made by fork cannot run its parent's run loop");
}

void __CFRunLoop::wake()
{
    if (_ended) {
        return;
    }
    // The note is enough in a callback of this loop's own run: the next pass sees it. If the outermost run ends first,
    // `settle` makes the descriptor readable.
    note(kWoken);
    if (!isRunningHere()) {
        arm();
    }
}

void __CFRunLoop::disarm()
{
    if (!_process.isInherited()) {
        if (!hasNote(kWakeLost) && !_wakeEvent.clear()) {
            note(kWakeLost);
        }
        forget(kArmed);
    }
}

bool __CFRunLoop::takeWake()
{
    if (hasNote(kArmed)) {
        disarm();
    }
    const bool isWoken = hasNote(kWoken);
    forget(kWoken);
    return isWoken;
}

void __CFRunLoop::forgetStop()
{
    if (hasNote(static_cast<Notes>(RunLoopRequest::stop))) [[unlikely]] {
        takeBack(RunLoopRequest::stop);
    }
}

void __CFRunLoop::wakeIfWaiting()
{
    if (!isRunningHere()) {
        wake();
    }
}

void __CFRunLoop::stop()
{
    // Deliberate: a stop of a loop that does not run is forgotten and does not end its next run.
    if (_innermost != nullptr) {
        _innermost->isStopped = true;
        wakeIfWaiting();
    }
}

bool __CFRunLoop::request(RunLoopRequest request)
{
    note(static_cast<Notes>(request));
    const int savedErrno = errno;
    const bool isRaised = _wakeEvent.raise();
    errno = savedErrno;
    return isRaised;
}

void __CFRunLoop::drainWakeEvent()
{
    if (!_process.isInherited()) {
        // An event that was not raised is as good as a cleared one; a closed descriptor shows when it is raised.
        static_cast<void>(_wakeEvent.clear());
        forget(kArmed);
    }
}

std::optional<SInt32> __CFRunLoop::answerRequests(bool servesOne)
{
    // First: a request that comes between the two finds the descriptor empty and makes it readable again.
    drainWakeEvent();
    constexpr auto kStop = static_cast<Notes>(RunLoopRequest::stop);
    constexpr auto kWake = static_cast<Notes>(RunLoopRequest::wake);
    constexpr auto kEnd = static_cast<Notes>(RunLoopRequest::end);
    static_assert((kStop | kWake | kEnd) == kRequests);
    const Notes requests = _notes.fetch_and(~(kStop | kWake));
    if ((requests & (kStop | kEnd)) != 0) {
        return kCFRunLoopRunStopped;
    }
    return (requests & kWake) != 0 && servesOne ? std::optional(kRunLoopRunWoken) : std::nullopt;
}

void __CFRunLoop::finishEmpty(const RunLoopMode* mode)
{
    if (mode == &defaultMode() && _innermost == nullptr) {
        // Otherwise the loop's descriptor would stay readable, and no run would have anything to do.
        takeWake();
        answerRequests(true);
    }
}

void __CFRunLoop::settle(Run* outer)
{
    forgetStop();
    if (outer != nullptr) {
        outer->mode.doubtFound(); // the run that has ended may have served it
    } else if (hasNote(kWoken) || defaultMode().hasDue()) {
        wake();
    }
}

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
[[gnu::noinline]] __CFRunLoop::Served __CFRunLoop::serveSignals(Run& run, bool servesOne)
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

void __CFRunLoop::end()
{
    Lock lock;
    _ended = true;
    for (const auto& mode : _modes) {
        while (CFRunLoopSourceRef source = mode->anyMember()) {
            // One source at a time with the mutex free in between, because the cancel callback may remove others.
            auto membersReference = detach(*source, *mode);
            lock.unlock();
            source->cancel(this, mode->name());
            membersReference = {}; // may destroy the source, which calls out
            lock.lock();
        }
        mode->close();
    }
    if (hasNote(kWakeLost)) {
        _wakeEvent.abandon();
    }
    // Otherwise the event stays open while the loop is held: requests of other threads write to it without a lock.
}

const TypeOperations qrx::cf::kRunLoopOperations{"a run loop", dispose<__CFRunLoop>, nullptr, nullptr};

int qrx::cf::runLoopDescriptor(CFRunLoopRef loop)
{
    auto& target = loopOf(loop, "runLoopDescriptor");
    const std::lock_guard lock(sm_RunLoopMutex);
    return target.defaultMode().descriptor();
}

bool qrx::cf::requestOfRunLoop(CFRunLoopRef loop, RunLoopRequest request)
{
    return loop->request(request);
}

SInt32 qrx::cf::runDefaultMode(CFRunLoopRef loop, CFTimeInterval seconds, bool returnAfterSourceHandled)
{
    return loop->run(kCFRunLoopDefaultMode, Deadline::after(seconds), returnAfterSourceHandled);
}

void qrx::cf::takeBackOfRunLoop(CFRunLoopRef loop, RunLoopRequest request)
{
    loop->takeBack(request);
}

CFTypeID CFRunLoopGetTypeID(void)
{
    return static_cast<CFTypeID>(Type::runLoop);
}

CFRunLoopRef CFRunLoopGetCurrent(void)
{
    return sm_Current != nullptr ? sm_Current : makeCurrent();
}

void CFRunLoopRun(void)
{
    SInt32 result = 0;
    do {
        // A timeout is no reason to return.
        result = CFRunLoopRunInMode(kCFRunLoopDefaultMode, kForever, false);
    } while (result != kCFRunLoopRunStopped && result != kCFRunLoopRunFinished);
}

SInt32 CFRunLoopRunInMode(CFStringRef mode, CFTimeInterval seconds, Boolean returnAfterSourceHandled)
{
    requireMode(mode, "CFRunLoopRunInMode");
    // The usual case without the call of a function, which is measurable for a loop that is run once per report.
    const CFRunLoopRef loop = sm_Current != nullptr ? sm_Current : CFRunLoopGetCurrent();
    return loop->run(mode, Deadline::after(seconds), returnAfterSourceHandled != 0);
}

void CFRunLoopStop(CFRunLoopRef loop)
{
    auto& target = loopOf(loop, "CFRunLoopStop");
    const std::lock_guard lock(sm_RunLoopMutex);
    target.stop();
    // After the note is left: if waking cannot reach the loop, its owner must learn of it, but what is noted counts.
    target.requireWake();
}

void CFRunLoopWakeUp(CFRunLoopRef loop)
{
    auto& target = loopOf(loop, "CFRunLoopWakeUp");
    const std::lock_guard lock(sm_RunLoopMutex);
    target.wake();
    target.requireWake();
}

void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode)
{
    auto& target = loopOf(loop, "CFRunLoopAddSource");
    checked<__CFRunLoopSource>(source, "CFRunLoopAddSource");
    requireMode(mode, "CFRunLoopAddSource");
    {
        const std::lock_guard lock(sm_RunLoopMutex);
        if (!target.attach(source, mode)) {
            return;
        }
    }
    // The callbacks run without the mutex: they may use the loop.
    source->schedule(loop, mode);
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode)
{
    auto& target = loopOf(loop, "CFRunLoopRemoveSource");
    checked<__CFRunLoopSource>(source, "CFRunLoopRemoveSource");
    requireMode(mode, "CFRunLoopRemoveSource");
    Reference<CFRunLoopSourceRef> membersReference;
    {
        const std::lock_guard lock(sm_RunLoopMutex);
        RunLoopMode* known = target.findMode(mode);
        if (known == nullptr || source->membershipIn(*known) == nullptr) {
            return;
        }
        membersReference = target.detach(*source, *known);
    }
    source->cancel(loop, mode);
}

Boolean CFRunLoopContainsSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode)
{
    auto& target = loopOf(loop, "CFRunLoopContainsSource");
    checked<__CFRunLoopSource>(source, "CFRunLoopContainsSource");
    requireMode(mode, "CFRunLoopContainsSource");
    const std::lock_guard lock(sm_RunLoopMutex);
    const RunLoopMode* known = target.findMode(mode);
    return known != nullptr && source->membershipIn(*known) != nullptr;
}
