#include "LoopAlarm.h"

#include "Base/MonotonicTimer.h"
#include "ClientSource.h"

#include <utility>

namespace qrx {

struct LoopAlarm::Body {
    Body(CFRunLoopRef wantedLoop, std::weak_ptr<Client> client)
        : loop(wantedLoop), source(timer.descriptor(), std::move(client))
    {
    }

    const CFRunLoopRef loop; ///< not retained: QrxRunLoop::Body holds it longer
    platform::MonotonicTimer timer;
    cf::ClientSource<Client, &Client::ring> source; ///< ends before the descriptor that it waits for
};

LoopAlarm::LoopAlarm(CFRunLoopRef loop, std::weak_ptr<Client> client)
    : _body(std::make_unique<Body>(loop, std::move(client)))
{
}

LoopAlarm::~LoopAlarm() = default;

void LoopAlarm::setDue(Clock::time_point due)
{
    _body->timer.setDue(due);
    CFRunLoopAddSource(_body->loop, _body->source.get(), kCFRunLoopDefaultMode);
}

void LoopAlarm::clear()
{
    _body->timer.clear();
    CFRunLoopRemoveSource(_body->loop, _body->source.get(), kCFRunLoopDefaultMode);
}

std::shared_ptr<void>& loopKeptByThread()
{
    thread_local std::shared_ptr<void> sm_Kept;
    return sm_Kept;
}

} // namespace qrx
