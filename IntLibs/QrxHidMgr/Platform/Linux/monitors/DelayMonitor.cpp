#include "DelayMonitor.h"

#include <cstdint>

namespace qrx::platform {

std::unique_ptr<DelayMonitor> DelayMonitor::make(SystemCalls& calls, std::chrono::milliseconds delay)
{
    OwnedFd fd(calls, calls.timerCreate());
    return fd.isOpen() ? std::unique_ptr<DelayMonitor>(new DelayMonitor(calls, std::move(fd), delay)) : nullptr;
}

void DelayMonitor::start()
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(_delay);
    itimerspec once{};
    once.it_value.tv_sec = seconds.count();
    once.it_value.tv_nsec = std::chrono::nanoseconds(_delay - seconds).count();
    _calls.timerSet(_fd.get(), once);
}

DeviceMonitor::Next DelayMonitor::take(DeviceEvent&)
{
    std::uint64_t expirations = 0;
    return _calls.read(_fd.get(), &expirations, sizeof expirations) > 0 ? Next::rescan : Next::none;
}

} // namespace qrx::platform
