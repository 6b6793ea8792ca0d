/// @file
/// The run loop of a thread.

#ifndef QRX_RUN_LOOP_H
#define QRX_RUN_LOOP_H

#include "QrxExport.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

/// The run loop of a thread: what delivers arrivals, removals and input reports.
///
/// The library has no thread of its own. Everything that it tells the application is told from inside run() or
/// runOnce() of the thread that called `observe` on the tree and `open` on the device. An application that has another
/// main loop (GLib, Qt, libuv, Asio, plain poll) watches getFileDescriptor() there and calls runOnce(0) when it is
/// readable.
///
/// A QrxRunLoop is a light handle on its thread's loop: copy it freely. It may be used on the loop's own thread;
/// post(), stop(), wake() and getFileDescriptor() may be called on any thread, for as long as the handle lives, even
/// after the thread has ended. The other operations throw std::logic_error on another thread. On macOS the loop is the
/// system's own.
///
/// A child that fork made shares the kernel's side of its parent's loop. It may end, run another program, or let its
/// copies of the library's objects go, and its parent notices nothing of it; it may not use them. A child of a process
/// with several threads may, as ever, only run another program or end by _exit.
class QRX_EXPORT QrxRunLoop {
public:
    /// Why a run ended.
    enum class Outcome {
        finished, ///< nothing is left that could ever happen: no tree observes, no device is open, no function waits
        stopped,  ///< stop() was called, or a signal came (runUntilSignal)
        timedOut, ///< the time is over
        handled,  ///< something was delivered (runOnce only)
        woken     ///< wake() was called (runOnce only)
    };

    /// Names a function that is to be called later; never 0, and never used twice in a thread.
    using Timer = std::uint64_t;

    /// A handle on the calling thread's loop, which is made on first use. A loop takes two file descriptors: throws
    /// std::system_error if none is free, as do `observe` and `open` in a thread that has no loop yet. After a failure
    /// it may be called again.
    static QrxRunLoop getCurrent();
    /// The same, by its name in version 0.1.
    static QrxRunLoop current() { return getCurrent(); }

    QrxRunLoop(const QrxRunLoop& other);
    QrxRunLoop& operator=(const QrxRunLoop& other);
    ~QrxRunLoop();

    /// Delivers whatever happens until stop() is called or nothing is left that could happen. An exception thrown by
    /// a delegate leaves through here, and the loop may be run again afterwards (on macOS the system does not promise
    /// that). Throws std::system_error if the loop can wait no more: the application has closed its descriptors (with
    /// closefrom, say), or this is a child that fork made (EPERM).
    Outcome run();

    /// As run(), for at most `seconds`.
    Outcome runFor(double seconds);

    /// As run(), until SIGINT (Ctrl-C) or SIGTERM comes as well: then the outcome is `stopped`. The handlers of the two
    /// are replaced for the time of the call, but for a signal that the process ignores; reads and writes that a signal
    /// interrupts go on (SA_RESTART). One loop of a process at a time; another call throws std::logic_error. On macOS a
    /// signal is noticed within a tenth of a second.
    Outcome runUntilSignal();

    /// Waits until something can be delivered, at most `seconds` (0 or less: does not wait), delivers it and returns.
    /// One call serves one device, one burst of arrivals or one function; with several ready, call again. On macOS a
    /// function of callAfter() or callEvery() is called within runOnce(), but does not end it.
    Outcome runOnce(double seconds);

    /// Ends the innermost run of the loop. A stop of a loop that does not run is forgotten: set a flag of your own
    /// first if the other thread may not have begun. May be called by a signal handler (not on macOS, where it takes a
    /// lock). Throws std::system_error if the run cannot be reached: the application has closed the loop's descriptors.
    void stop();

    /// Lets runOnce() return: the one that waits, or else the next one. A run() looks around once. May be called by a
    /// signal handler, and throws, as stop(). (On macOS runOnce() returns `handled`.)
    void wake();

    /// Calls `function` on the loop's thread, in one of its runs, in the order of the calls. From any thread; an
    /// exception of the function leaves through the run. A loop for which a function waits is not finished. What is
    /// posted after the loop's thread has ended is kept, uncalled, until the last handle on the loop goes.
    void post(std::function<void()> function);

    /// Calls `function` once after that time, or every so often until it is cancelled; it may cancel itself. Calls that
    /// a busy loop has missed are dropped. Starting and firing takes O(log n) of n timers. Throws
    /// std::system_error if no descriptor is free for the first timer of a thread.
    Timer callAfter(std::chrono::nanoseconds delay, std::function<void()> function);
    Timer callEvery(std::chrono::nanoseconds interval, std::function<void()> function);
    /// False if there is nothing to cancel: the function was called, or cancelled, before.
    bool cancel(Timer timer);

    /// A descriptor that is readable exactly when runOnce(0) has work. It belongs to the loop: do not read, write or
    /// close it; it lives as long as the thread. -1 on macOS, whose loops have none.
    int getFileDescriptor() const;
    /// The same, by its name in version 0.1.
    int fileDescriptor() const { return getFileDescriptor(); }

private:
    struct Body;
    explicit QrxRunLoop(std::shared_ptr<Body> body);
    std::shared_ptr<Body> _body;
};

#endif
