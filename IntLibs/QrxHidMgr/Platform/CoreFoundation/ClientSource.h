#pragma once

#include "RunLoopSourceDescriptor.h"

#include <CoreFoundation/CoreFoundation.h>

#include <memory>
#include <utility>

namespace qrx::cf {

/// A source of a run loop that calls a client while a descriptor is readable. The client is held by a shared pointer; a
/// call in progress holds it, and one that is gone is not called.
template <typename Client, void (Client::*kCall)()>
class ClientSource {
public:
    /// `descriptor` lives longer than this object.
    ClientSource(int descriptor, std::weak_ptr<Client> client) : _client(std::move(client))
    {
        CFRunLoopSourceContext1 context{};
        context.version = 1;
        context.info = &_client;
        context.perform = [](void*, CFIndex, CFAllocatorRef, void* info) -> void* {
            if (const auto held = static_cast<std::weak_ptr<Client>*>(info)->lock()) {
                (held.get()->*kCall)();
            }
            return nullptr;
        };
        _source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
        setRunLoopSourceDescriptor(_source, descriptor);
    }
    ClientSource(const ClientSource&) = delete;
    ClientSource& operator=(const ClientSource&) = delete;
    ~ClientSource()
    {
        // Loops hold the source. Invalidated, it is never performed again, also if this runs within the client's call.
        CFRunLoopSourceInvalidate(_source);
        CFRelease(_source);
    }

    CFRunLoopSourceRef get() const { return _source; }

private:
    std::weak_ptr<Client> _client;
    CFRunLoopSourceRef _source = nullptr;
};

} // namespace qrx::cf
