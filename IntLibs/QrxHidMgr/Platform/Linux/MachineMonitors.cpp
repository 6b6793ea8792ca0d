#include "LinuxProvider.h"

#include "Base/Log.h"
#include "Base/SystemCalls.h"
#include "Linux/monitors/FolderMonitor.h"
#include "Linux/monitors/LateFolderMonitor.h"
#include "Linux/monitors/NetworkNamespace.h"
#include "Linux/monitors/TimerMonitor.h"
#include "Linux/monitors/UdevMonitor.h"

#include <cerrno>

namespace qrx::platform {

namespace {

/// True for a lack of descriptors, memory or inotify watches (ENOSPC), which may end. Other errors mean that this
/// machine cannot be watched in that way at all (no netlink in a sandbox, no such folder), so the next best way is
/// taken.
bool isScarcity(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOMEM || error == ENOBUFS || error == ENOSPC;
}

} // namespace

std::vector<std::unique_ptr<DeviceMonitor>> makeMonitors(const LinuxPaths& paths)
{
    SystemCalls& calls = paths.calls != nullptr ? *paths.calls : SystemCalls::kernel();
    // udevd keeps this socket while it runs. Without udevd nobody forwards events to the group "udev".
    const bool hasUdevd = calls.exists((paths.run + "/control").c_str()) == 0;
    std::vector<std::unique_ptr<DeviceMonitor>> monitors;
    int scarcity = 0;
    const auto add = [&](std::unique_ptr<DeviceMonitor> monitor) {
        if (monitor != nullptr) {
            monitors.push_back(std::move(monitor));
        } else if (isScarcity(errno)) {
            scarcity = errno;
        }
    };
    add(UdevMonitor::make(hasUdevd ? UdevMonitor::Group::udev : UdevMonitor::Group::kernel));
    const bool hasSocket = !monitors.empty();
    if (hasSocket && hasUdevd) {
        // The folder is a second source, in case udevd never sends the event. It is looked at late, because at once it
        // would only show nodes whose rules have not been applied yet.
        const std::size_t before = monitors.size();
        LateFolderMonitor::add(monitors, calls, paths.device, paths.times.lateRescan);
        // Editors and the like use up the inotify watches of many a desktop. That is no reason to give up the socket.
        if (monitors.size() == before && isScarcity(errno) && errno != ENOSPC) {
            scarcity = errno;
        }
    } else {
        add(FolderMonitor::make(calls, paths.device));
    }
    // In a network namespace of its own a container hears no device events, though the socket works.
    if (!hasSocket || !isNetworkOfMachine(calls)) {
        log(LogLevel::info, "Device events cannot be heard here: arrivals are found by looking from time to time");
        add(TimerMonitor::makeRepeating(calls, paths.times.rescanInterval));
    }
    if (scarcity != 0) {
        // If a worse way of watching were chosen for lack of a descriptor, it would never be replaced. So none is
        // chosen now, and the caller tries again.
        monitors.clear();
        errno = scarcity;
    }
    return monitors;
}

} // namespace qrx::platform
