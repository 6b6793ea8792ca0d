#include "DeviceMonitor.h"

#include "FolderMonitor.h"
#include "IntervalMonitor.h"
#include "LateFolderMonitor.h"
#include "LinuxProvider.h"
#include "NetworkNamespace.h"
#include "Provider/Log.h"
#include "SystemCalls.h"
#include "UdevMonitor.h"

namespace qrx::platform {

std::vector<std::unique_ptr<DeviceMonitor>> makeMonitors(const LinuxPaths& paths)
{
    SystemCalls& calls = paths.calls != nullptr ? *paths.calls : SystemCalls::kernel();
    const bool hasUdevd = calls.exists((paths.run + "/control").c_str()) == 0;
    std::vector<std::unique_ptr<DeviceMonitor>> monitors;
    const auto add = [&monitors](std::unique_ptr<DeviceMonitor> monitor) {
        if (monitor != nullptr) {
            monitors.push_back(std::move(monitor));
        }
    };
    add(UdevMonitor::make(hasUdevd ? UdevMonitor::Group::udev : UdevMonitor::Group::kernel));
    const bool hasSocket = !monitors.empty();
    if (hasSocket && hasUdevd) {
        // At once the folder would only tell of nodes whose rules have not been applied yet.
        LateFolderMonitor::add(monitors, calls, paths.device, paths.rescanInterval);
    } else {
        add(FolderMonitor::make(calls, paths.device));
    }
    if (!hasSocket || !isNetworkOfMachine(calls)) {
        log(LogLevel::info, "Device events cannot be heard here: arrivals are found by looking from time to time");
        add(IntervalMonitor::make(calls, paths.rescanInterval));
    }
    return monitors;
}

} // namespace qrx::platform
