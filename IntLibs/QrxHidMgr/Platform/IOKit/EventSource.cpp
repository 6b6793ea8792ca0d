#include "EventSource.h"

#include <utility>

namespace qrx::iokit {

namespace {

/// What the run loop source knows: it may live longer than its client.
struct Link {
    std::weak_ptr<EventSource::Client> client;
    int descriptor;
};

unsigned int portOfLink(void* info)
{
    return static_cast<unsigned int>(static_cast<Link*>(info)->descriptor);
}

void* performLink(void*, CFIndex, CFAllocatorRef, void* info)
{
    // The link may end within the call: whoever is called may invalidate and release the source.
    const auto client = static_cast<Link*>(info)->client.lock();
    if (client) {
        client->perform();
    }
    return nullptr;
}

void releaseLink(const void* info)
{
    delete static_cast<const Link*>(info);
}

CFRunLoopSourceRef makeSource(std::weak_ptr<EventSource::Client> client, int descriptor)
{
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    auto link = std::make_unique<Link>(Link{std::move(client), descriptor});
    context.info = link.get();
    context.release = releaseLink;
    context.getPort = portOfLink;
    context.perform = performLink;
    auto* source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    link.release();
    return source;
}

} // namespace

EventSource::EventSource(std::weak_ptr<Client> client)
{
    if (_set.descriptor() >= 0) {
        _source = makeSource(std::move(client), _set.descriptor());
    }
}

EventSource::~EventSource()
{
    if (_source != nullptr) {
        // Out of every loop before the descriptor is closed, whoever else still holds the source.
        CFRunLoopSourceInvalidate(_source);
        CFRelease(_source);
    }
}

void EventSource::signal()
{
    if (_source != nullptr) {
        CFRunLoopSourceSignal(_source);
    }
}

} // namespace qrx::iokit
