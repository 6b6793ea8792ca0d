#pragma once

#include <string>

namespace qrx::platform {

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

/// A source of device events. Used by one thread at a time.
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

} // namespace qrx::platform
