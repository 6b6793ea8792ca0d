#pragma once

#include "Linux/monitors/DeviceMonitor.h"
#include "Linux/policy/HotPlugTimes.h"
#include "Provider/Provider.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qrx::platform {

class SystemCalls;
struct LinuxPaths;

/// Makes the monitors of one observation; all of them are heard.
using MonitorFactory = std::function<std::vector<std::unique_ptr<DeviceMonitor>>(const LinuxPaths&)>;

/// Where the provider finds things; what differs from the default is for tests.
struct LinuxPaths {
    std::string sysfs = "/sys";
    std::string device = "/dev";
    std::string run = "/run/udev";
    HotPlugTimes times;
    /// Null: the kernel's. Must outlive the provider and all ports and channels that it made.
    SystemCalls* calls = nullptr;
    /// Empty: makeMonitors.
    MonitorFactory monitors;
};

/// What this machine offers. Where udevd runs, the events that it sends after its rules, so that a node's mode is right
/// when its device is announced; and a late look after nodes have come or gone, since udevd's events stay in its
/// network namespace. Without udevd the kernel's own events and the device folder; without an event socket the device
/// folder alone. A slow timer besides where there is no event socket, or where the kernel sends no events to this
/// network namespace. None, with errno, while descriptors or memory are lacking for one of them.
std::vector<std::unique_ptr<DeviceMonitor>> makeMonitors(const LinuxPaths& paths);

/// The USB devices of this machine that have a HID interface, through sysfs, udev and hidraw. Hubs and other devices
/// without any are left out: nothing could be done with them here, and they would cost calls at each enumeration.
///
/// A device is published when all of it is there: every interface of its configuration, a driver on each one of class
/// HID, and below the HID driver a HID device with its report node. If something is still missing when the time for
/// waiting is over, the device is published without it (policy/DeviceBook.h). A device whose HID part changes (a driver
/// is exchanged, an interface unbound) leaves and arrives anew.
///
/// While nobody observes, refresh compares the machine with what is published and takes incomplete devices only if they
/// have been connected for some time, or if the kernel does not tell for how long. While somebody observes, events tell
/// what to compare, and refresh looks whether any wait: one system call.
std::unique_ptr<Provider> makeLinuxProvider(LinuxPaths paths = {});

} // namespace qrx::platform
