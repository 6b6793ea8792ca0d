#include "IntervalMonitor.h"

#include <cstdint>

namespace qrx::platform {

std::unique_ptr<IntervalMonitor> IntervalMonitor::make(SystemCalls& calls, std::chrono::milliseconds interval)
{
    OwnedFd fd(calls, calls.timerCreate());
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(interval);
    itimerspec period{};
    period.it_interval.tv_sec = seconds.count();
    period.it_interval.tv_nsec = std::chrono::nanoseconds(interval - seconds).count();
    period.it_value = period.it_interval;
    if (!fd.isOpen() || calls.timerSet(fd.get(), period) != 0) {
        return nullptr;
    }
    return std::unique_ptr<IntervalMonitor>(new IntervalMonitor(calls, std::move(fd)));
}

DeviceMonitor::Next IntervalMonitor::take(DeviceEvent&)
{
    std::uint64_t expirations = 0;
    return _calls.read(_fd.get(), &expirations, sizeof expirations) > 0 ? Next::rescan : Next::none;
}

} // namespace qrx::platform
