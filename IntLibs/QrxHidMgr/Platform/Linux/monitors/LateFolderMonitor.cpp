#include "LateFolderMonitor.h"

#include <utility>

namespace qrx::platform {

void LateFolderMonitor::add(std::vector<std::unique_ptr<DeviceMonitor>>& monitors, SystemCalls& calls,
                            const std::string& folder, std::chrono::milliseconds delay)
{
    auto early = FolderMonitor::make(calls, folder);
    auto late = TimerMonitor::make(calls);
    if (early != nullptr && late != nullptr) {
        // Both live as long as the observation, in the same list.
        monitors.emplace_back(new LateFolderMonitor(std::move(early), *late, delay));
        monitors.push_back(std::move(late));
    }
}

DeviceMonitor::Next LateFolderMonitor::take(DeviceEvent& event)
{
    // A change of the folder only starts the timer, whose own turn asks for the rescan.
    while (_folder->take(event) != Next::none) {
        _timer.start(_delay);
    }
    return Next::none;
}

} // namespace qrx::platform
