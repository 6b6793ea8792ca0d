// A run loop waits on one thread for descriptors and for signals of other threads, and calls back what is due. A
// source of version 1 is due when its descriptor is readable; a source of version 0 when somebody has signalled it. A
// mode is a set of sources; a run serves one mode. Runs nest: a callback may run the loop again.
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

#include "Base/SystemError.h"
#include "RunLoopDescriptor.h"

#include <algorithm>
#include <cerrno>

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

__CFRunLoop::__CFRunLoop() : Object(kType, kMortal), _wakeEvent(qrx::platform::SystemCalls::ofProcess())
{
    if (!_wakeEvent.isOpen()) {
        qrx::platform::throwSystemError(errno, "no run loop can be made");
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
    qrx::platform::throwSystemError(EBADF, "the event descriptor of a run loop was closed by others");
}

void __CFRunLoop::failInherited()
{
    qrx::platform::throwSystemError(EPERM, "a child made by fork cannot run its parent's run loop");
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
