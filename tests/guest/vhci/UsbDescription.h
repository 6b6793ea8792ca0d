#pragma once

#include "support/GuestFiles.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrx::guest {

/// Speeds as the virtual host controller numbers them.
enum class UsbSpeed : std::uint8_t { low = 1, full = 2, high = 3 };

/// One interface of a USB device of ours.
struct UsbInterface {
    /// False makes it a vendor-specific interface without endpoints; only `name` counts then.
    bool isHid = true;
    /// The report descriptor, whatever it is worth.
    Bytes reportDescriptor;
    /// What the HID descriptor says of its length; none tells the truth.
    std::optional<std::uint16_t> announcedDescriptorLength;
    /// 1 and 1 or 2 make a boot keyboard or mouse.
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
    /// UTF-8; none gives the interface no string.
    std::optional<std::string> name;
    /// Without one, output reports come as control requests.
    bool hasOutEndpoint = true;
    /// Bytes, the same for both endpoints: up to 8 at low, 64 at full, 1,024 at high speed.
    std::uint16_t maximumPacket = 64;
};

/// What a USB device of ours says of itself. The ids have no special driver in the kernel.
struct UsbIdentity {
    std::uint16_t vendor = 0x1234;
    std::uint16_t product = 0x0001;
    std::uint16_t release = 0x0100;
    UsbSpeed speed = UsbSpeed::high;
    /// UTF-8, cut to what a string descriptor can carry (126 UTF-16 units); none: no such string. An empty one is a
    /// string descriptor without text.
    std::optional<std::string> manufacturer;
    std::optional<std::string> productName;
    std::optional<std::string> serial;
};

/// The standard descriptors of a device (USB 2.0, 9.6; HID 1.11, 6.2.1) as they go over the wire.
class UsbDescription {
public:
    UsbDescription(UsbIdentity identity, std::vector<UsbInterface> interfaces);

    const UsbIdentity& identity() const { return _identity; }
    const std::vector<UsbInterface>& interfaces() const { return _interfaces; }
    std::uint8_t interfaceCount() const { return static_cast<std::uint8_t>(_interfaces.size()); }

    /// Endpoint number of an interface's IN and OUT endpoint: one above its own number.
    static std::uint8_t endpointOf(std::size_t interface) { return static_cast<std::uint8_t>(interface + 1); }

    Bytes device() const;
    /// With all interfaces, HID descriptors and endpoints.
    Bytes configuration() const;
    /// 0 is the list of languages; empty if there is no such string.
    Bytes string(std::uint8_t index) const;
    /// The HID descriptor of one interface (HID 1.11, 6.2.1).
    Bytes hid(std::size_t interface) const;

private:
    std::uint8_t indexOf(const std::optional<std::string>& text, std::uint8_t index) const;
    void appendInterface(Bytes& bytes, std::size_t number) const;
    void appendEndpoint(Bytes& bytes, std::size_t number, bool in) const;

    UsbIdentity _identity;
    std::vector<UsbInterface> _interfaces;
};

/// UTF-8 to UTF-16 code units; broken bytes become U+FFFD.
std::vector<std::uint16_t> utf16(const std::string& text);

} // namespace qrx::guest
