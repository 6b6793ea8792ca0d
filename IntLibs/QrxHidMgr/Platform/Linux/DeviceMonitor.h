#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qrx::platform {

struct LinuxPaths;

/// One device event of the kernel.
struct DeviceEvent {
    /// "add", "remove", "bind", "unbind", "change", ...
    std::string action;
    /// "usb", "hid", "hidraw"
    std::string subsystem;
    /// "usb_device", "usb_interface", or empty.
    std::string type;
    /// Below the root of sysfs: "/devices/pci0000:00/.../1-1/1-1:1.0".
    std::string path;
};

/// Something that tells of arrivals and removals. Used on one thread.
class DeviceMonitor {
public:
    enum class Next {
        event,  ///< one was given
        rescan, ///< something has changed, or events were lost: look at everything
        none    ///< nothing waits
    };

    DeviceMonitor() = default;
    DeviceMonitor(const DeviceMonitor&) = delete;
    DeviceMonitor& operator=(const DeviceMonitor&) = delete;
    virtual ~DeviceMonitor() = default;

    /// Readable while take has something; the same number for the monitor's whole life.
    virtual int descriptor() const = 0;
    /// Never blocks.
    virtual Next take(DeviceEvent& event) = 0;
    /// True if events come after udevd has carried out its rules.
    virtual bool followsRules() const { return false; }
};

/// Makes the monitors of one observation; all of them are heard.
using MonitorFactory = std::function<std::vector<std::unique_ptr<DeviceMonitor>>(const LinuxPaths&)>;

/// What this machine offers. Where udevd runs, the events that it sends after its rules, so that a node's mode is right
/// when its device is announced; and a late look after nodes have come or gone, since udevd's events stay in its
/// network namespace. Else the kernel's own events, and a look at the device folder besides. Where no event socket can
/// be had, or the kernel sends nothing to this network namespace, the device folder and a slow timer. None, with errno,
/// while descriptors or memory are lacking for one of them.
std::vector<std::unique_ptr<DeviceMonitor>> makeMonitors(const LinuxPaths& paths);

} // namespace qrx::platform
