#include "DelayedCalls.h"

#include "QrxRunLoop.h"

#include <set>
#include <thread>
#include <utility>

namespace qrx::platform {

namespace {

/// Timers of a loop belong to its thread, so what comes from another one is posted.
class RunLoopCalls final : public DelayedCalls, public std::enable_shared_from_this<RunLoopCalls> {
public:
    ~RunLoopCalls() override;
    void callAfter(std::chrono::microseconds time, std::function<void()> function) override;

private:
    QrxRunLoop _loop = QrxRunLoop::getCurrent();
    const std::thread::id _thread = std::this_thread::get_id();
    /// On the loop's thread.
    std::set<QrxRunLoop::Timer> _timers;
};

RunLoopCalls::~RunLoopCalls()
{
    // A loop with timers is not finished, so those whose functions would find this object gone are cancelled.
    const auto cancelAll = [timers = std::move(_timers), loop = _loop]() mutable {
        for (const QrxRunLoop::Timer timer : timers) {
            loop.cancel(timer);
        }
    };
    try {
        if (std::this_thread::get_id() == _thread) {
            auto cancel = cancelAll;
            cancel();
        } else {
            _loop.post(cancelAll);
        }
    } catch (...) {
        // Without memory for the post the timers stay; their functions find this object gone and do nothing.
    }
}

void RunLoopCalls::callAfter(std::chrono::microseconds time, std::function<void()> function)
{
    // The loop does not keep this object alive.
    const auto schedule = [weak = weak_from_this(), time, function = std::move(function)] {
        const auto self = weak.lock();
        if (!self) {
            return;
        }
        // The function must know its timer, whose number is only known once the loop has the function.
        const auto timer = std::make_shared<QrxRunLoop::Timer>(0);
        // The time counts from here. From another thread that is a turn of the loop later than the call.
        *timer = self->_loop.callAfter(time, [weak, timer, function] {
            if (const auto alive = weak.lock()) {
                alive->_timers.erase(*timer);
                function();
            }
        });
        self->_timers.insert(*timer);
    };
    if (std::this_thread::get_id() == _thread) {
        schedule();
    } else {
        _loop.post(schedule);
    }
}

} // namespace

std::shared_ptr<DelayedCalls> makeDelayedCalls()
{
    return std::make_shared<RunLoopCalls>();
}

} // namespace qrx::platform
