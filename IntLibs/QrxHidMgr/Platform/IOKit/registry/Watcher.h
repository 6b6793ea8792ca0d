#pragma once

#include "Base/EpollSet.h"
#include "Base/MonotonicTimer.h"

namespace qrx::iokit {

/// The descriptors that a notification port waits for, behind one: readable while any of them is, and once a second
/// while something could not be watched. A child that fork made leaves its parent's set and timer as they are.
class Watcher {
public:
    /// Throws std::system_error without a free descriptor.
    Watcher();

    int descriptor() const { return _set.descriptor(); }

    /// False with errno if the descriptor cannot be watched now. True for one that is watched already, and for -1.
    bool watch(int fd);
    /// Says nothing about a descriptor that is not there.
    void forget(int fd);

    // The following are called by one thread at a time.

    /// From now on the set is readable from time to time, for another try; or no longer.
    void setRetrying(bool isRetrying);
    /// True if the time for one has come since the last call.
    bool takeRetry();

    /// The set is empty from then on, and its descriptor gone.
    void close();

private:
    platform::EpollSet _set;
    /// Made with the set: when it is needed, no descriptor may be left.
    platform::MonotonicTimer _timer;
    bool _isRetrying = false;
};

} // namespace qrx::iokit
