#include "EventSource.h"

#include "CoreFoundation/RunLoopSourceDescriptor.h"

#include <utility>

namespace qrx::iokit {

namespace {

/// What the run loop source knows: it may live longer than its client.
using Link = std::weak_ptr<EventSource::Client>;

void* performLink(void*, CFIndex, CFAllocatorRef, void* info)
{
    // The link may end within the call: whoever is called may invalidate and release the source.
    if (const auto client = static_cast<Link*>(info)->lock()) {
        client->perform();
    }
    return nullptr;
}

void releaseLink(const void* info)
{
    delete static_cast<const Link*>(info);
}

CFRunLoopSourceRef makeSource(std::weak_ptr<EventSource::Client> client)
{
    CFRunLoopSourceContext1 context{};
    context.version = 1;
    auto link = std::make_unique<Link>(std::move(client));
    context.info = link.get();
    context.release = releaseLink;
    context.perform = performLink;
    auto* source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    link.release();
    return source;
}

} // namespace

EventSource::EventSource(std::weak_ptr<Client> client) : _source(makeSource(std::move(client))) {}

EventSource::~EventSource()
{
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
