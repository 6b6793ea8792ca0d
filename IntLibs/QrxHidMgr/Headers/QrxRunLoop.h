#pragma once

#include "QrxExport.h"

/// The run loop of a thread: what delivers arrivals, removals and input reports.
///
/// The library has no thread of its own. Everything that it tells the application is told from inside run() or
/// runOnce() of the thread that called `observe` on the tree and `open` on the device. An application that has another
/// main loop (GLib, Qt, libuv, Asio, plain poll) watches fileDescriptor() there and calls runOnce(0) when it is
/// readable.
///
/// A QrxRunLoop is a light handle on its thread's loop: copy it freely. run() and runOnce() work on the loop of the
/// thread that calls them and must be called on the handle's own thread; stop() and wake() may be called from any
/// thread, for as long as the handle lives, even after the thread has ended, but not from a signal handler: they take a
/// lock. On macOS the loop is the system's own.
///
/// A child that fork made shares the kernel's side of its parent's loop. It may end, run another program, or let its
/// copies of the library's objects go, and its parent notices nothing of it; it may not use them. A child of a process
/// with several threads may, as ever, only run another program or end by _exit.
class QRX_EXPORT QrxRunLoop {
public:
    /// Why a run ended.
    enum class Outcome {
        finished, ///< nothing is left that could ever happen: no tree observes, no device is open
        stopped,  ///< stop() was called
        timedOut, ///< the time is over
        handled   ///< something was delivered (runOnce only)
    };

    /// A handle on the calling thread's loop, which is made on first use: with a handful of file descriptors, so this
    /// throws std::system_error if none is free, and so do `observe` and `open` in a thread that has no loop yet. It
    /// may be called again.
    static QrxRunLoop current();

    QrxRunLoop(const QrxRunLoop& other);
    QrxRunLoop& operator=(const QrxRunLoop& other);
    ~QrxRunLoop();

    /// Delivers whatever happens until stop() is called or nothing is left that could happen. An exception thrown by
    /// a delegate leaves through here, and the loop may be run again afterwards. Throws std::system_error if the loop
    /// can wait no more: the application has closed its descriptors (with closefrom, say), or this is a child that fork
    /// made (EPERM).
    Outcome run();

    /// As run(), for at most `seconds`.
    Outcome runFor(double seconds);

    /// Waits until something can be delivered, at most `seconds` (0 or less: does not wait), delivers it and returns.
    /// One call serves one device or one burst of arrivals; with several ready, call again.
    Outcome runOnce(double seconds);

    /// Ends the innermost run of the loop. A stop of a loop that does not run is forgotten: set a flag of your own
    /// first if the other thread may not have begun. Throws std::system_error if the run cannot be reached: the
    /// application has closed the loop's descriptors.
    void stop();

    /// Makes a waiting run look around once; harmless otherwise. Throws as stop().
    void wake();

    /// A descriptor that is readable exactly when runOnce(0) has work. It belongs to the loop: do not read, write or
    /// close it; it lives as long as the thread. -1 on macOS, whose loops have none.
    int fileDescriptor() const;

private:
    explicit QrxRunLoop(void* loop);
    void* _loop;
};
