#pragma once

/// What the names of sysfs entries say. Pure functions.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qrx::platform {

/// Where a device is plugged in, as its name "1-4.2" tells: bus 1, port 4 of the root hub, port 2 of the hub there.
struct UsbPlace {
    /// Bus number in the top byte, then one nibble per hub port from bit 20 downwards. Ports beyond the sixth level
    /// (USB knows no more) are left out, and of a port above 15 the low four bits are kept.
    std::uint32_t locationID = 0;
    /// The last port of the chain.
    std::uint8_t portNumber = 0;
};

/// No value for what is not the name of a device: root hubs ("usb1") and interfaces ("1-4.2:1.0").
std::optional<UsbPlace> usbPlace(std::string_view name);

/// Configuration and interface number of an interface's name "1-4.2:1.0".
struct UsbInterfaceName {
    /// "1-4.2"
    std::string_view device;
    std::uint8_t configuration = 0;
    std::uint8_t number = 0;
};
std::optional<UsbInterfaceName> usbInterfaceName(std::string_view name);

/// True for "0003:046D:C52B.0001": bus, vendor, product, and a running number that no other device ever has.
bool isHIDDeviceName(std::string_view name);

/// True for "hidraw" and a number.
bool isHidrawName(std::string_view name);

/// The device that an event's path is about or below of: the last component that is a device's name. Empty if there is
/// none, as for devices that are not on USB.
std::string_view usbDeviceOf(std::string_view path);

} // namespace qrx::platform
