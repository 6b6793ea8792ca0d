#include "LoopAlarm.h"

#include "Base/MonotonicTimer.h"
#include "RunLoopSourceDescriptor.h"

namespace qrx {

struct LoopAlarm::Body {
    Body(CFRunLoopRef wantedLoop, std::weak_ptr<Client> wantedClient)
        : loop(wantedLoop), client(std::make_unique<std::weak_ptr<Client>>(std::move(wantedClient)))
    {
        CFRunLoopSourceContext1 context{};
        context.version = 1;
        context.info = client.get();
        context.perform = [](void*, CFIndex, CFAllocatorRef, void* info) -> void* {
            if (const auto held = static_cast<std::weak_ptr<Client>*>(info)->lock()) {
                held->ring();
            }
            return nullptr;
        };
        source = CFRunLoopSourceCreate(kCFAllocatorDefault, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
        cf::setRunLoopSourceDescriptor(source, timer.descriptor());
    }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    ~Body()
    {
        // Before the members end: the source waits for the descriptor that `timer` closes.
        CFRunLoopSourceInvalidate(source);
        CFRelease(source);
    }

    const CFRunLoopRef loop; ///< not retained: QrxRunLoop::Body holds it longer
    const std::unique_ptr<std::weak_ptr<Client>> client;
    platform::MonotonicTimer timer;
    CFRunLoopSourceRef source = nullptr;
};

LoopAlarm::LoopAlarm(CFRunLoopRef loop, std::weak_ptr<Client> client)
    : _body(std::make_unique<Body>(loop, std::move(client)))
{
}

LoopAlarm::~LoopAlarm() = default;

void LoopAlarm::setDue(Clock::time_point due)
{
    _body->timer.setDue(due);
    CFRunLoopAddSource(_body->loop, _body->source, kCFRunLoopDefaultMode);
}

void LoopAlarm::clear()
{
    _body->timer.clear();
    CFRunLoopRemoveSource(_body->loop, _body->source, kCFRunLoopDefaultMode);
}

std::shared_ptr<void>& loopKeptByThread()
{
    thread_local std::shared_ptr<void> sm_Kept;
    return sm_Kept;
}

} // namespace qrx
