#pragma once

#include "vhci/VhciDevice.h"

#include <memory>
#include <string>
#include <vector>

namespace qrx::guest {

/// A number of HID interfaces on the kernel's virtual host controller, two a USB device as devices with media keys have
/// them: one of 64-byte vendor reports both ways, one of four media keys. All of them whole: every report node exists.
class Panels {
public:
    /// Plugs devices until there are `nodes` HID interfaces (the last device has one only if the number is odd), and
    /// waits until the kernel and whoever looks at the age of a node have finished with them.
    /// Throws std::runtime_error if they do not come.
    explicit Panels(std::size_t nodes);
    /// As above, a single device of these interfaces.
    explicit Panels(std::vector<UsbInterface> interfaces);
    /// Pulls the plugs and waits until the kernel has taken everything away, so that whoever comes next starts afresh.
    ~Panels();
    Panels(const Panels&) = delete;
    Panels& operator=(const Panels&) = delete;

    /// The devices in the order of their serial numbers; interface 0 has the vendor reports.
    const std::vector<std::unique_ptr<VhciDevice>>& devices() const { return _devices; }

    /// Bytes of a vendor report; it has no number.
    static constexpr std::size_t kReportBytes = 64;

private:
    /// Plugs one more device.
    void plug(std::vector<UsbInterface> interfaces);
    void waitUntilSettled() const;

    std::vector<std::unique_ptr<VhciDevice>> _devices;
};

} // namespace qrx::guest
