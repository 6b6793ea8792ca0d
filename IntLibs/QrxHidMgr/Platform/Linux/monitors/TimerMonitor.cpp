#include "TimerMonitor.h"

#include <algorithm>

namespace qrx::platform {

namespace {

/// A rescan comes at most this many delays after the first change of a series, even if the changes go on: a node that
/// comes and goes without end (a loose plug) must not keep other devices from being found.
constexpr int kMostDelays = 4;

} // namespace

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
    const Time now = _timer.now();
    if (!_wanted) {
        _latest = now + kMostDelays * delay;
    }
    _wanted = now + delay;
    _timer.setDue(std::min(*_wanted, _latest));
}

DeviceMonitor::Next TimerMonitor::take(DeviceEvent&)
{
    if (!_timer.take()) {
        return Next::none;
    }
    // This rescan may be too early for the last changes of a series. They get a rescan of their own when the delay
    // after the last of them is over; later starts do not move it.
    if (_wanted && *_wanted > _timer.now()) {
        _latest = *_wanted;
        _timer.setDue(_latest);
    } else {
        _wanted.reset();
    }
    return Next::rescan;
}

} // namespace qrx::platform
