#include "LateFolderMonitor.h"

#include <cstdint>

#include <sys/timerfd.h>

namespace qrx::platform {

std::unique_ptr<DelayMonitor> DelayMonitor::make(SystemCalls& calls, std::chrono::milliseconds delay)
{
    OwnedFd fd(calls, ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC));
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

void LateFolderMonitor::add(std::vector<std::unique_ptr<DeviceMonitor>>& monitors, SystemCalls& calls,
                            const std::string& folder, std::chrono::milliseconds delay)
{
    auto early = FolderMonitor::make(calls, folder);
    auto late = DelayMonitor::make(calls, delay);
    if (early != nullptr && late != nullptr) {
        // Both live as long as the observation, in the same list.
        monitors.emplace_back(new LateFolderMonitor(std::move(early), *late));
        monitors.push_back(std::move(late));
    }
}

DeviceMonitor::Next LateFolderMonitor::take(DeviceEvent& event)
{
    while (_folder->take(event) != Next::none) {
        _delay.start();
    }
    return Next::none;
}

} // namespace qrx::platform
