#include "LoopAlarm.h"

#include <pthread.h>

#include <system_error>

namespace qrx {

namespace {

/// Longer than any program runs. A timer with this first moment and interval fires only when setDue gives it a moment;
/// without an interval it would become invalid with its first firing.
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

// Not a thread_local object: its destructor would need a function that the system's published libraries do not name.
std::shared_ptr<void>& loopKeptByThread()
{
    using Kept = std::shared_ptr<void>;
    static const pthread_key_t sm_Key = [] {
        pthread_key_t key{};
        if (const int error = ::pthread_key_create(&key, [](void* kept) { delete static_cast<Kept*>(kept); })) {
            throw std::system_error(error, std::generic_category(), "no run loop can be kept");
        }
        return key;
    }();
    auto* kept = static_cast<Kept*>(::pthread_getspecific(sm_Key));
    if (kept == nullptr) {
        kept = new Kept;
        ::pthread_setspecific(sm_Key, kept);
    }
    return *kept;
}

} // namespace qrx
