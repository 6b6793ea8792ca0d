#pragma once

#include "EpollSet.h"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>

namespace qrx::iokit {

/// A version-1 run loop source over an epoll set of its own, for one client.
///
/// The client owns it; others may hold the run loop source longer. Once this object is gone the source is invalid, its
/// descriptor closed and the client is never called again.
class EventSource {
public:
    class Client {
    public:
        /// Something in the set is readable, or signal() was called. On the thread of the run loop that holds the
        /// source; the client is kept alive for the call.
        virtual void perform() = 0;

    protected:
        ~Client() = default;
    };

    explicit EventSource(std::weak_ptr<Client> client);
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    ~EventSource();

    /// Borrowed. Null if there was no descriptor for it.
    CFRunLoopSourceRef source() const { return _source; }

    void watch(int fd) { _set.watch(fd); }
    void forget(int fd) { _set.forget(fd); }

    /// The client's perform comes in the loop's next pass even if nothing is readable.
    void signal();

private:
    EpollSet _set;
    CFRunLoopSourceRef _source = nullptr;
};

} // namespace qrx::iokit
