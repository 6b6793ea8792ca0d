#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qrx::platform {

/// The device and configuration descriptors of a USB device (USB 2.0, chapter 9.6), read from the bytes of its sysfs
/// file `descriptors`: the device descriptor, then every configuration with all that belongs to it.
///
/// Reading stops at the first thing that cannot be right; what was read until then is kept.
struct UsbDescriptors {
    /// One alternate setting of an interface.
    struct Interface {
        std::uint8_t number = 0;
        std::uint8_t alternateSetting = 0;
        std::uint8_t endpointCount = 0;
        std::uint8_t interfaceClass = 0;
        std::uint8_t interfaceSubclass = 0;
        std::uint8_t interfaceProtocol = 0;
        /// 0: the interface has no name.
        std::uint8_t nameIndex = 0;
        /// bCountryCode of the HID descriptor (HID 1.11, 6.2.1), if there is one.
        std::optional<std::uint8_t> countryCode;
    };

    struct Configuration {
        std::uint8_t value = 0;
        /// Every alternate setting of every interface, in the order of the bytes.
        std::vector<Interface> interfaces;

        /// How many interfaces there are, alternate settings not counted.
        std::size_t interfaceCount() const;
        /// Whether a setting of an interface is of the HID class.
        bool hasHID() const;
    };

    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;
    std::uint16_t releaseNumber = 0;
    std::uint8_t deviceClass = 0;
    std::uint8_t deviceSubclass = 0;
    std::uint8_t deviceProtocol = 0;
    std::uint8_t maxPacketSize0 = 0;
    std::uint8_t configurationCount = 0;
    /// String indices; 0: there is no such string.
    std::uint8_t vendorNameIndex = 0;
    std::uint8_t productNameIndex = 0;
    std::uint8_t serialNumberIndex = 0;
    std::vector<Configuration> configurations;

    /// Null if there is no configuration of that value.
    const Configuration* configuration(std::uint8_t value) const;
};

/// No value if there is no whole device descriptor at the beginning.
std::optional<UsbDescriptors> parseUsbDescriptors(std::span<const std::uint8_t> bytes);

/// Most bytes of descriptors that are read. Usual devices have some hundreds, large audio and video devices some
/// thousands.
constexpr std::size_t kUsbDescriptorsLimit = 65536;

} // namespace qrx::platform
