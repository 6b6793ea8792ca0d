#pragma once

#include "Base/FileDescriptor.h"
#include "Base/ProcessMark.h"

#include <cstdint>

#include <sys/timerfd.h>

namespace qrx::platform {

/// A descriptor that becomes readable at a moment of the monotonic clock.
class MonotonicTimer {
public:
    MonotonicTimer();

    /// Microseconds of the monotonic clock.
    static std::uint64_t nowUs();

    int descriptor() const { return _timer.get(); }
    /// Readable from that moment on, at once if it is past.
    void setDue(std::uint64_t timeUs);
    /// Not readable until setDue is called again. May be called from any thread.
    void clear();

private:
    void set(const itimerspec& due);

    FileDescriptor _timer;
    const ProcessMark _process;
};

} // namespace qrx::platform
