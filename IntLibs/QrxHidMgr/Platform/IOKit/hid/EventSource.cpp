#include "EventSource.h"

#include "CoreFoundation/RunLoopSourceDescriptor.h"

#include <memory>

namespace qrx::iokit {

/// The run loop source's link to its client. The source may live longer, held by a run loop or by the application; the
/// link is then empty.
struct EventSource::Link {
    Client* client;
};

void* EventSource::perform(void*, CFIndex, CFAllocatorRef, void* info)
{
    // The link outlives the call, because the run loop holds the source; the client may end within it.
    if (Client* const client = static_cast<Link*>(info)->client) {
        client->perform();
    }
    return nullptr;
}

EventSource::EventSource(Client& client)
{
    auto link = std::make_unique<Link>(Link{&client});
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    context.info = link.get();
    // No `retain`: the source owns the link from the start.
    context.release = [](const void* info) { delete static_cast<const Link*>(info); };
    context.perform = perform;
    _source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    _link = link.release();
}

EventSource::~EventSource()
{
    _link->client = nullptr;
    // Out of every loop, whoever else still holds the source.
    CFRunLoopSourceInvalidate(_source);
    CFRelease(_source);
}

void EventSource::watch(int fd)
{
    cf::setRunLoopSourceDescriptor(_source, fd);
}

void EventSource::signal()
{
    CFRunLoopSourceSignal(_source);
}

} // namespace qrx::iokit
