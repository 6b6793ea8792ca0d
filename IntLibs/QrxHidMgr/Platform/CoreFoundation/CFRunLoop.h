#pragma once

/// A thread's run loop. Private to this folder.

#include "Base/Deadline.h"
#include "Base/ProcessMark.h"
#include "Base/WakeEvent.h"
#include "CFRunLoopSource.h"
#include "DescriptorSet.h"
#include "Object.h"
#include "Reference.h"
#include "RunLoopMode.h"
#include "RunLoopRequests.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

/// Made when its thread first asks for it, and held by the thread until the thread ends. Others may hold it longer; it
/// then does nothing any more. Fields are guarded by sm_RunLoopMutex.
struct __CFRunLoop : qrx::cf::Object {
    static constexpr qrx::cf::Type kType = qrx::cf::Type::runLoop;

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
        if (hasNote(kWakeLost)) [[unlikely]] {
            failWakeLost();
        }
    }

    // On any thread and in a signal handler, without the mutex.

    bool request(qrx::cf::RunLoopRequest request);
    void takeBack(qrx::cf::RunLoopRequest request) { forget(static_cast<Notes>(request)); }

    // On the loop's thread, without the mutex.

    /// Throws std::system_error if the loop can wait no more: others have closed its descriptors, or this is a child
    /// that fork made.
    SInt32 run(CFStringRef modeName, qrx::platform::Deadline deadline, bool returnAfterSourceHandled);
    /// The thread ends.
    void end();

private:
    /// A run in progress on the loop's thread; runs nest.
    struct Run {
        qrx::cf::RunLoopMode& mode;
        Run* const outer;
        bool isStopped = false;
    };
    class RunScope;
    using Lock = qrx::platform::ShortLock<qrx::cf::sm_RunLoopMutex>;

    /// Bits of RunLoopRequest and those below: what a pass has to look at besides its sources. Mostly there is nothing,
    /// which a pass sees with one test.
    using Notes = unsigned;
    static constexpr Notes kRequests = 7;
    static constexpr Notes kWoken = 8;
    static constexpr Notes kArmed = 16;    ///< _wakeEvent is readable
    static constexpr Notes kWakeLost = 32; ///< others have closed _wakeEvent

    bool hasNote(Notes notes) const { return (_notes.load(std::memory_order_relaxed) & notes) != 0; }
    bool hasNotes() const { return _notes.load(std::memory_order_relaxed) != 0; }
    void note(Notes notes) { _notes.fetch_or(notes); }
    void forget(Notes notes) { _notes.fetch_and(~notes); }

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
    void disarm();
    void drainWakeEvent();
    bool takeWake();
    void forgetStop();
    /// The result with which a run has to return for what was requested; no value if it goes on.
    std::optional<SInt32> answerRequests(bool servesOne);
    qrx::cf::RunLoopMode* findModeByText(CFStringRef name) const;
    /// For a run in a mode without members, which returns at once: takes the wakes and stops that were noted for it.
    void finishEmpty(const qrx::cf::RunLoopMode* mode);
    /// What is left to do when a run has ended.
    void settle(Run* outer);

    /// What a pass has served without a descriptor.
    struct Served {
        bool any;
        bool signalsTurn; ///< descriptors have theirs in the next pass
        bool onlyLook;    ///< the pass does not wait for descriptors
    };
    // Without the mutex.
    Served serveSignals(Run& run, bool servesOne);
    // With the mutex, which they let go while something else runs.
    bool fireVersion0(qrx::cf::RunLoopMode& mode, bool onlyOne, Lock& lock);
    bool fireIfStillDue(CFRunLoopSourceRef source, const qrx::cf::RunLoopMode& mode, Lock& lock);
    // Inlined into `run`: every report takes this way.
    [[gnu::always_inline]] static inline void fire(qrx::cf::Reference<CFRunLoopSourceRef> source, Lock& lock);
    [[gnu::always_inline]] inline bool fireReported(qrx::cf::RunLoopMode& mode, qrx::platform::Deadline deadline,
                                                    qrx::cf::DescriptorSet::Look look, Lock& lock);

    std::vector<std::unique_ptr<qrx::cf::RunLoopMode>> _modes; ///< the default mode first; never removed
    qrx::platform::WakeEvent _wakeEvent;                       ///< a member of every mode's descriptors
    const qrx::platform::ProcessMark _process;
    bool _ended = false;
    /// Changed without the mutex by requests, which first leave the note and then make _wakeEvent readable: a pass that
    /// finds the event readable finds the note too.
    std::atomic<Notes> _notes{0};
    Run* _innermost = nullptr;
};
