#include "TimerMonitor.h"

#include <cstdint>

namespace qrx::platform {

namespace {

timespec timeOf(std::chrono::milliseconds duration)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {seconds.count(), std::chrono::nanoseconds(duration - seconds).count()};
}

} // namespace

std::unique_ptr<TimerMonitor> TimerMonitor::make(SystemCalls& calls)
{
    // A timer that was never started is never readable.
    FileDescriptor fd(calls, calls.timerCreate());
    return fd.isOpen() ? std::unique_ptr<TimerMonitor>(new TimerMonitor(calls, std::move(fd))) : nullptr;
}

std::unique_ptr<TimerMonitor> TimerMonitor::makeRepeating(SystemCalls& calls, std::chrono::milliseconds interval)
{
    auto monitor = make(calls);
    const itimerspec period{timeOf(interval), timeOf(interval)};
    return monitor != nullptr && calls.timerSet(monitor->_fd.get(), period) == 0 ? std::move(monitor) : nullptr;
}

void TimerMonitor::start(std::chrono::milliseconds delay)
{
    // Starting it again moves the time: a series of changes is followed by one rescan.
    _calls.timerSet(_fd.get(), {{}, timeOf(delay)});
}

DeviceMonitor::Next TimerMonitor::take(DeviceEvent&)
{
    std::uint64_t expirations = 0;
    return _calls.read(_fd.get(), &expirations, sizeof expirations) > 0 ? Next::rescan : Next::none;
}

} // namespace qrx::platform
