#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qrx::guest {

/// Ports of the kernel's virtual USB host controller (module vhci-hcd, loaded when first needed).
class VhciPort {
public:
    /// Attaches a device to a free port, or to the given one as soon as it is free. Returns the device's end of the
    /// connection; the port stays taken until that is closed and the kernel has seen it. Throws std::runtime_error if
    /// no port is free within 10 s. `device` is what the far end calls the device, for one that looks.
    static int attach(int speed, std::optional<int> wanted, int& port, std::optional<unsigned long> device = {});

    /// The name that sysfs gives the device in this port ("3-1"); empty while it has none.
    static std::string deviceName(int port);

    /// Whether nothing is attached to it.
    static bool isFree(int port);
};

} // namespace qrx::guest
