#pragma once

#include "FileDescriptor.h"
#include "ProcessMark.h"
#include "SystemCalls.h"

#include <chrono>

namespace qrx::platform {

/// A timer of the monotonic clock, which becomes readable when it runs out. A child that fork made shares its parent's
/// timer, so there it does nothing. May be set and cleared from any thread.
class MonotonicTimer {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// By the calls of the process. Throws std::system_error if there is no descriptor free.
    MonotonicTimer();
    /// Not open, with errno, if there is no descriptor free.
    explicit MonotonicTimer(SystemCalls& calls) : _calls(calls), _timer(calls, calls.timerCreate()) {}

    bool isOpen() const { return _timer.isOpen(); }
    int descriptor() const { return _timer.get(); }
    Time now() const { return _calls.now(); }

    // Each replaces what was set before, and is false with errno if that failed.

    /// Readable from that moment on, at once if it is past.
    bool setDue(Time due);
    /// Readable after the interval, which is above zero, and again after each further one.
    bool setInterval(std::chrono::nanoseconds interval);
    /// Not readable until it is set again.
    bool clear();

    /// True if the timer has run out and nobody has taken that yet. It is then not readable until it runs out again.
    /// Never blocks.
    bool take();

    void close() { _timer.close(); }

private:
    bool set(std::chrono::nanoseconds first, std::chrono::nanoseconds interval);

    SystemCalls& _calls;
    FileDescriptor _timer;
    const ProcessMark _process;
};

} // namespace qrx::platform
