// The file "descriptors" of a device: its device descriptor, then all configurations, each followed by its interfaces,
// their alternate settings, and the descriptors of classes and endpoints. Every descriptor begins with its length and
// its type, so unknown ones are stepped over. The kernel has checked the bytes, but a device chose them, so no length
// is trusted.

#include "UsbDescriptors.h"

#include "Provider/Provider.h"

#include <algorithm>
#include <bitset>

namespace qrx::platform {

namespace {

// Descriptor types (USB 2.0, table 9-5; HID 1.11, 7.1) and the lengths of those that are read.
constexpr std::uint8_t kDeviceType = 0x01;
constexpr std::uint8_t kConfigurationType = 0x02;
constexpr std::uint8_t kInterfaceType = 0x04;
constexpr std::uint8_t kHIDType = 0x21;
constexpr std::size_t kDeviceLength = 18;
constexpr std::size_t kConfigurationLength = 9;
constexpr std::size_t kInterfaceLength = 9;
constexpr std::size_t kHIDLength = 6;

using Bytes = std::span<const std::uint8_t>;

std::uint16_t word(Bytes bytes, std::size_t at)
{
    return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
}

UsbDescriptors readDevice(Bytes bytes)
{
    UsbDescriptors device;
    device.deviceClass = bytes[4];
    device.deviceSubclass = bytes[5];
    device.deviceProtocol = bytes[6];
    device.maxPacketSize0 = bytes[7];
    device.vendorID = word(bytes, 8);
    device.productID = word(bytes, 10);
    device.releaseNumber = word(bytes, 12);
    device.vendorNameIndex = bytes[14];
    device.productNameIndex = bytes[15];
    device.serialNumberIndex = bytes[16];
    device.configurationCount = bytes[17];
    return device;
}

UsbDescriptors::Interface readInterface(Bytes bytes)
{
    UsbDescriptors::Interface interface;
    interface.number = bytes[2];
    interface.alternateSetting = bytes[3];
    interface.endpointCount = bytes[4];
    interface.interfaceClass = bytes[5];
    interface.interfaceSubclass = bytes[6];
    interface.interfaceProtocol = bytes[7];
    interface.nameIndex = bytes[8];
    return interface;
}

void readOne(Bytes descriptor, UsbDescriptors& device)
{
    const std::uint8_t type = descriptor[1];
    if (type == kConfigurationType && descriptor.size() >= kConfigurationLength) {
        device.configurations.push_back({descriptor[5], {}});
        return;
    }
    // An interface before any configuration belongs to nothing.
    if (device.configurations.empty()) {
        return;
    }
    auto& interfaces = device.configurations.back().interfaces;
    if (type == kInterfaceType && descriptor.size() >= kInterfaceLength) {
        interfaces.push_back(readInterface(descriptor));
    } else if (type == kHIDType && descriptor.size() >= kHIDLength && !interfaces.empty() &&
               interfaces.back().interfaceClass == kHIDClass && !interfaces.back().countryCode) {
        // Some devices put it behind the endpoints instead of before them, so any place below the interface will do.
        interfaces.back().countryCode = descriptor[4];
    }
}

} // namespace

std::size_t UsbDescriptors::Configuration::interfaceCount() const
{
    std::bitset<256> seen;
    for (const Interface& interface : interfaces) {
        // Counted by number: alternate settings repeat it. "bNumInterfaces" may be wrong.
        seen.set(interface.number);
    }
    return seen.count();
}

bool UsbDescriptors::Configuration::hasHID() const
{
    return std::any_of(interfaces.begin(), interfaces.end(),
                       [](const Interface& one) { return one.interfaceClass == kHIDClass; });
}

const UsbDescriptors::Configuration* UsbDescriptors::configuration(std::uint8_t value) const
{
    const auto found = std::find_if(configurations.begin(), configurations.end(),
                                    [value](const Configuration& one) { return one.value == value; });
    return found == configurations.end() ? nullptr : &*found;
}

std::optional<UsbDescriptors> parseUsbDescriptors(Bytes bytes)
{
    if (bytes.size() < kDeviceLength || bytes[0] < kDeviceLength || bytes[1] != kDeviceType) {
        return std::nullopt;
    }
    UsbDescriptors device = readDevice(bytes);
    while (bytes.size() >= 2) {
        const std::size_t length = bytes[0];
        // A length below 2 would never end; one beyond the end is cut off. What was read so far is kept.
        if (length < 2 || length > bytes.size()) {
            break;
        }
        readOne(bytes.first(length), device);
        bytes = bytes.subspan(length);
    }
    return device;
}

} // namespace qrx::platform
