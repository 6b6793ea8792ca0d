#pragma once

#include <CoreFoundation/CoreFoundation.h>

namespace qrx::iokit {

/// A version-1 run loop source over a descriptor that comes and goes, for one client.
///
/// The client owns it; others may hold the run loop source longer. Once this object is gone the source is invalid and
/// the client is never called again. On the thread of the run loop that holds the source.
class EventSource {
public:
    class Client {
    public:
        /// The descriptor is readable, or signal() was called. A client whose call may drop its last reference keeps
        /// itself.
        virtual void perform() = 0;

    protected:
        ~Client() = default;
    };

    explicit EventSource(Client& client);
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    ~EventSource();

    /// Borrowed.
    CFRunLoopSourceRef source() const { return _source; }

    /// Waits for this descriptor instead of the one before; -1 for none. The owner of a descriptor calls this with -1
    /// before it closes it: the number may name another file afterwards.
    void watch(int fd);

    /// The client's perform comes in the loop's next pass even if nothing is readable.
    void signal();

private:
    struct Link;

    static void* perform(void* message, CFIndex size, CFAllocatorRef allocator, void* info);

    Link* _link; ///< the run loop source's
    CFRunLoopSourceRef _source;
};

} // namespace qrx::iokit
