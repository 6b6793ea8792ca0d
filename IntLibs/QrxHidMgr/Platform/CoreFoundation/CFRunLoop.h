#pragma once

/// A thread's run loop. Private to this folder.

#include "Base/FileDescriptor.h"
#include "Base/ProcessMark.h"
#include "CFRunLoopSource.h"
#include "Deadline.h"
#include "Object.h"
#include "Reference.h"
#include "RunLoopMode.h"
#include "RunLoopRequests.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

/// Made when its thread first asks for it, and held by the thread until the thread ends. Others may hold it longer; it
/// then does nothing any more. Fields are guarded by sm_RunLoopMutex.
struct __CFRunLoop : qrx::cf::Object {
    static constexpr qrx::cf::Type kType = qrx::cf::Type::runLoop;

    /// A run in progress on the loop's thread; runs nest.
    class Run;

    /// Throws std::system_error if the system has no descriptor left.
    __CFRunLoop();

    // Under the mutex, on any thread.

    qrx::cf::RunLoopMode* findMode(CFStringRef name) const
    {
        return name == defaultMode().name() ? &defaultMode() : findModeByText(name);
    }
    qrx::cf::RunLoopMode& defaultMode() const { return *_modes.front(); }
    /// False if the source cannot or need not be added.
    bool attach(CFRunLoopSourceRef source, CFStringRef modeName);
    /// The source is a member of the mode. Returns the mode's reference to it, which may be the last one: to be dropped
    /// without the mutex.
    qrx::cf::Reference<CFRunLoopSourceRef> detach(__CFRunLoopSource& source, qrx::cf::RunLoopMode& mode);
    /// The next wait, or the present one, ends at once.
    void wake();
    /// As wake, but skipped inside this loop's own callbacks: the pass that called them sees the change by itself.
    void wakeIfWaiting();
    void stop();
    /// Throws std::system_error if others have closed the descriptor by which waking reaches a loop that waits.
    void requireWake() const
    {
        if (_isWakeLost) [[unlikely]] {
            failWakeLost();
        }
    }

    // On any thread and in a signal handler, without the mutex.

    bool request(qrx::cf::RunLoopRequest request);
    void takeBack(qrx::cf::RunLoopRequest request) { _requests.fetch_and(~static_cast<unsigned>(request)); }

    // On the loop's thread, without the mutex.

    /// Throws std::system_error if the loop can wait no more: others have closed its descriptors, or this is a child
    /// that fork made.
    SInt32 run(CFStringRef modeName, qrx::cf::Deadline deadline, bool returnAfterSourceHandled);
    /// The thread ends.
    void end();

private:
    bool isRunningHere() const;
    void requireOwnProcess() const
    {
        if (_process.isInherited()) [[unlikely]] {
            failInherited();
        }
    }
    [[noreturn]] static void failInherited();
    [[noreturn]] static void failWakeLost();
    void arm();
    void forgetStop()
    {
        if (_requests.load(std::memory_order_relaxed) != 0) [[unlikely]] {
            takeBack(qrx::cf::RunLoopRequest::stop);
        }
    }
    /// The result with which a run has to return for what was requested; no value if it goes on.
    std::optional<SInt32> answerRequests(bool servesOne);
    void drainWakeEvent();
    bool takeWake()
    {
        if (_armed) [[unlikely]] {
            disarm();
        }
        return std::exchange(_woken, false);
    }
    void disarm();
    using Lock = qrx::cf::ShortLock<qrx::cf::sm_RunLoopMutex>;
    qrx::cf::RunLoopMode* findModeByText(CFStringRef name) const;
    // With the mutex, which they let go while something else runs. What each report passes is one piece of code.
    bool fireVersion0(qrx::cf::RunLoopMode& mode, bool onlyOne, Lock& lock);
    bool fireIfStillDue(CFRunLoopSourceRef source, const qrx::cf::RunLoopMode& mode, Lock& lock);
    [[gnu::always_inline]] inline bool fireVersion1(qrx::cf::RunLoopMode& mode, qrx::cf::Deadline deadline, Lock& lock);
    [[gnu::always_inline]] inline qrx::cf::Reference<CFRunLoopSourceRef>
    takeVersion1(qrx::cf::RunLoopMode& mode, qrx::cf::Deadline deadline, Lock& lock);

    std::vector<std::unique_ptr<qrx::cf::RunLoopMode>> _modes; ///< the default mode first; never removed
    qrx::platform::FileDescriptor _wakeEvent;                  ///< an eventfd, a member of every mode's descriptors
    const qrx::platform::ProcessMark _process;
    bool _woken = false;
    bool _armed = false;      ///< _wakeEvent is readable
    bool _isWakeLost = false; ///< others have closed _wakeEvent
    bool _ended = false;
    /// Bits of RunLoopRequest. Who sets one makes _wakeEvent readable after that.
    std::atomic<unsigned> _requests{0};
    Run* _innermost = nullptr;
};
