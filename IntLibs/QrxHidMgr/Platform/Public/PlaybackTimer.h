#pragma once

#include "Base/FileDescriptor.h"

#include <cstdint>

namespace qrx {

/// A descriptor that becomes readable at a moment of the monotonic clock.
class PlaybackTimer {
public:
    PlaybackTimer();

    /// Microseconds of the monotonic clock.
    static std::uint64_t nowUs();

    int descriptor() const { return _timer.get(); }
    /// Readable from that moment on, at once if it is past.
    void setDue(std::uint64_t timeUs);
    /// Not readable until setDue is called again. May be called from any thread.
    void clear();

private:
    platform::FileDescriptor _timer;
};

} // namespace qrx
