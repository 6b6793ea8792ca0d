#pragma once

#include "Base/SystemCalls.h"
#include "FolderMonitor.h"
#include "TimerMonitor.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace qrx::platform {

/// Watches the device folder where udevd runs, in case its messages do not get here: a container may see udevd's files
/// and have a network namespace of its own, which it cannot tell. Where the messages do arrive, they come first, and
/// the delayed rescan then finds nothing new. A burst of nodes has one rescan; one that goes on has the first after
/// four delays, and then one each delay.
class LateFolderMonitor : public DeviceMonitor {
public:
    /// Adds the monitor and the timer that asks for the rescan, or neither, with errno, if one could not be made.
    static void add(std::vector<std::unique_ptr<DeviceMonitor>>& monitors, SystemCalls& calls,
                    const std::string& folder, std::chrono::milliseconds delay);

    int descriptor() const override { return _folder->descriptor(); }
    /// Never asks for anything itself.
    Next take(DeviceEvent& event) override;

private:
    LateFolderMonitor(std::unique_ptr<FolderMonitor> folder, TimerMonitor& timer, std::chrono::milliseconds delay)
        : _folder(std::move(folder)), _timer(timer), _delay(delay)
    {
    }

    std::unique_ptr<FolderMonitor> _folder;
    TimerMonitor& _timer;
    const std::chrono::milliseconds _delay;
};

} // namespace qrx::platform
