#include "TimerMonitor.h"

namespace qrx::platform {

std::unique_ptr<TimerMonitor> TimerMonitor::make(SystemCalls& calls)
{
    // A timer that was never started is never readable.
    std::unique_ptr<TimerMonitor> monitor(new TimerMonitor(calls));
    return monitor->_timer.isOpen() ? std::move(monitor) : nullptr;
}

std::unique_ptr<TimerMonitor> TimerMonitor::makeRepeating(SystemCalls& calls, std::chrono::milliseconds interval)
{
    auto monitor = make(calls);
    return monitor != nullptr && monitor->_timer.setInterval(interval) ? std::move(monitor) : nullptr;
}

void TimerMonitor::start(std::chrono::milliseconds delay)
{
    // Starting it again moves the time: a series of changes is followed by one rescan.
    _timer.setDue(_timer.now() + delay);
}

DeviceMonitor::Next TimerMonitor::take(DeviceEvent&)
{
    return _timer.take() ? Next::rescan : Next::none;
}

} // namespace qrx::platform
