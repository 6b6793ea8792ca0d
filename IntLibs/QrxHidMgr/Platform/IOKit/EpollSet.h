#pragma once

#include "Base/FileDescriptor.h"

namespace qrx::iokit {

/// An epoll descriptor: readable while any descriptor of its set is.
class EpollSet {
public:
    /// Without a free descriptor in the process it stays empty for good; the failure is told on standard error.
    EpollSet();

    /// -1 if it could not be made.
    int descriptor() const { return _epoll.get(); }

    /// Neither says anything about descriptors that are there already, are not there, or cannot be watched.
    void watch(int fd);
    void forget(int fd);

    /// The set is empty from then on, and its descriptor gone.
    void close() { _epoll = platform::FileDescriptor(); }

private:
    platform::FileDescriptor _epoll;
};

} // namespace qrx::iokit
