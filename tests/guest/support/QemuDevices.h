#pragma once

#include "support/HostControl.h"

#include <string>

namespace qrx::guest {

/// The USB devices that QEMU emulates, plugged and pulled while the guest runs: drivers "usb-kbd", "usb-mouse",
/// "usb-tablet" (all 0627:0001), "usb-hub". Operations throw std::runtime_error with QEMU's answer if it refuses.
class QemuDevices {
public:
    /// Plugs a device into a port of the root hub ("1"), or of a hub there ("1.2"). `id` names it from then on.
    void plug(const std::string& driver, const std::string& id, const std::string& port);
    /// Asks for the removal; the guest sees it a little later. A hub takes along what is behind it.
    void pull(const std::string& id);

    /// A key by QEMU's name of it ("a", "shift", "ret"), down and up: two reports of the keyboard plugged last.
    void typeKey(const std::string& name);
    /// One half of that: one report.
    void setKey(const std::string& name, bool down);
    /// Moves the mouse; QEMU cuts more than 127 into several reports.
    void moveMouse(int x, int y);
    /// Moves the tablet to a place, 0 to 32767 each way.
    void moveTablet(int x, int y);
    /// "left", "right", "middle": down or up.
    void setButton(const std::string& name, bool down);
    /// One step of the wheel of mouse or tablet: one report.
    void turnWheel(bool up);

private:
    void execute(const std::string& json);

    HostControl _host;
};

} // namespace qrx::guest
