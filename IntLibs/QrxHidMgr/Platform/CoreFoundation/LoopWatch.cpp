#include "LoopWatch.h"

#include "RunLoopSourceDescriptor.h"

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace qrx {

struct __attribute__((visibility("hidden"))) LoopWatch::Body {
    Body(int descriptor, std::weak_ptr<Client> wantedClient) : client(std::move(wantedClient))
    {
        CFRunLoopSourceContext1 context{};
        context.version = 1;
        context.info = this;
        context.perform = [](void*, CFIndex, CFAllocatorRef, void* info) -> void* {
            if (const auto held = static_cast<Body*>(info)->client.lock()) {
                held->readable();
            }
            return nullptr;
        };
        source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
        cf::setRunLoopSourceDescriptor(source, descriptor);
    }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    ~Body()
    {
        // The loop holds the source. Invalidated, it is never performed again, also if this runs within `perform`.
        CFRunLoopSourceInvalidate(source);
        CFRelease(source);
    }

    const std::weak_ptr<Client> client;
    CFRunLoopSourceRef source = nullptr;
};

LoopWatch::LoopWatch(int descriptor, std::weak_ptr<Client> client)
    : _body(std::make_unique<Body>(descriptor, std::move(client)))
{
    CFRunLoopAddSource(CFRunLoopGetCurrent(), _body->source, kCFRunLoopDefaultMode);
}

LoopWatch::~LoopWatch() = default;

} // namespace qrx
