#pragma once

#include "DeviceMonitor.h"

#include <memory>

struct udev;
struct udev_monitor;

namespace qrx::platform {

/// libudev's event socket, for the subsystems that make up a USB HID device.
class UdevMonitor : public DeviceMonitor {
public:
    enum class Group {
        kernel, ///< as the kernel sends them: before a node has its owner and mode
        udev    ///< as udevd sends them, after its rules
    };

    /// Null with errno if there can be no such socket (a sandbox without netlink, no descriptor free).
    static std::unique_ptr<UdevMonitor> make(Group group);

    int descriptor() const override;
    Next take(DeviceEvent& event) override;
    bool followsRules() const override { return _group == Group::udev; }

private:
    struct Unref {
        void operator()(udev* context) const;
        void operator()(udev_monitor* monitor) const;
    };

    UdevMonitor(Group group, std::unique_ptr<udev, Unref> context, std::unique_ptr<udev_monitor, Unref> monitor);

    const Group _group;

    std::unique_ptr<udev, Unref> _context;
    std::unique_ptr<udev_monitor, Unref> _monitor;
};

} // namespace qrx::platform
