#include "LoopAlarm.h"

namespace qrx {

namespace {

/// Longer than any program runs: a timer that fires only where it is told to.
constexpr CFTimeInterval kNever = 1.0e9;

} // namespace

struct LoopAlarm::Body {
    Body(CFRunLoopRef wantedLoop, std::weak_ptr<Client> wantedClient)
        : loop(wantedLoop), client(std::move(wantedClient))
    {
        CFRunLoopTimerContext context{};
        context.info = &client;
        const auto ring = [](CFRunLoopTimerRef, void* info) {
            if (const auto held = static_cast<std::weak_ptr<Client>*>(info)->lock()) {
                held->ring();
            }
        };
        timer = CFRunLoopTimerCreate(kCFAllocatorDefault, CFAbsoluteTimeGetCurrent() + kNever, kNever, 0, 0, ring,
                                     &context);
    }
    Body(const Body&) = delete;
    Body& operator=(const Body&) = delete;
    ~Body()
    {
        CFRunLoopTimerInvalidate(timer);
        CFRelease(timer);
    }

    const CFRunLoopRef loop;
    std::weak_ptr<Client> client;
    CFRunLoopTimerRef timer = nullptr;
};

LoopAlarm::LoopAlarm(CFRunLoopRef loop, std::weak_ptr<Client> client)
    : _body(std::make_unique<Body>(loop, std::move(client)))
{
}

LoopAlarm::~LoopAlarm() = default;

void LoopAlarm::setDue(Clock::time_point due)
{
    const std::chrono::duration<double> seconds = due - Clock::now();
    CFRunLoopTimerSetNextFireDate(_body->timer, CFAbsoluteTimeGetCurrent() + seconds.count());
    CFRunLoopAddTimer(_body->loop, _body->timer, kCFRunLoopDefaultMode);
}

void LoopAlarm::clear()
{
    CFRunLoopRemoveTimer(_body->loop, _body->timer, kCFRunLoopDefaultMode);
}

} // namespace qrx
