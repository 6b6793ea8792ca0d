#pragma once

/// What QrxRunLoop needs of a loop besides the published calls.

#include <CoreFoundation/CoreFoundation.h>

namespace qrx::cf {

/// What another thread or a signal handler asks of a loop without taking its lock.
enum class RunLoopRequest : unsigned {
    stop = 1, ///< ends the innermost run; forgotten if there is none
    wake = 2, ///< lets a run that serves one source return, the next one if there is none
    end = 4   ///< ends every run, also those that begin, until it is taken back
};

/// A time that the run loop takes for "for ever", as the platform does in CFRunLoopRun: 300 years.
constexpr CFTimeInterval kForever = 1.0e10;

/// In place of the published results, for a run that was woken.
constexpr SInt32 kRunLoopRunWoken = 5;

/// From any thread and from a signal handler, as long as somebody holds the loop. False if others have closed the
/// descriptor by which a waiting loop is reached.
bool requestOfRunLoop(CFRunLoopRef loop, RunLoopRequest request);
/// Forgets a request that no run has answered yet. `end` stays until this is called.
void takeBackOfRunLoop(CFRunLoopRef loop, RunLoopRequest request);

/// As CFRunLoopRunInMode in the default mode; `loop` is the calling thread's.
SInt32 runDefaultMode(CFRunLoopRef loop, CFTimeInterval seconds, bool returnAfterSourceHandled);

} // namespace qrx::cf
