#include "UsbAttributes.h"

#include "SysfsText.h"

#include <limits>

namespace qrx::platform {

namespace {

using Parse = std::optional<std::uint32_t> (*)(std::string_view, std::uint32_t);

template <typename Number>
bool readNumber(const SysfsDirectory& directory, const std::string& file, Parse parse, Number& value)
{
    std::string text;
    if (directory.read(file, text) != SysfsDirectory::Result::done) {
        return false;
    }
    const auto number = parse(text, std::numeric_limits<Number>::max());
    // A value that cannot be parsed leaves the default. The caller decides whether the facts are of use without it.
    if (number) {
        value = static_cast<Number>(*number);
    }
    return number.has_value();
}

/// The index of a string is not an attribute. Any number but 0 makes the file with the string decide.
constexpr std::uint8_t kUnknownIndex = 0xFF;

} // namespace

bool readDeviceAttributes(const SysfsDirectory& device, UsbDescriptors& facts)
{
    facts = {};
    if (!readNumber(device, "idVendor", hexNumber, facts.vendorID) ||
        !readNumber(device, "idProduct", hexNumber, facts.productID)) {
        return false;
    }
    // Without one of these the device can still be used.
    readNumber(device, "bcdDevice", hexNumber, facts.releaseNumber);
    readNumber(device, "bDeviceClass", hexNumber, facts.deviceClass);
    readNumber(device, "bDeviceSubClass", hexNumber, facts.deviceSubclass);
    readNumber(device, "bDeviceProtocol", hexNumber, facts.deviceProtocol);
    readNumber(device, "bMaxPacketSize0", decimalNumber, facts.maxPacketSize0);
    readNumber(device, "bNumConfigurations", decimalNumber, facts.configurationCount);
    facts.vendorNameIndex = facts.productNameIndex = facts.serialNumberIndex = kUnknownIndex;
    return true;
}

bool readInterfaceAttributes(const SysfsDirectory& device, const std::string& directory,
                             UsbDescriptors::Interface& facts)
{
    facts = {};
    const std::string prefix = directory + "/";
    if (!readNumber(device, prefix + "bInterfaceNumber", hexNumber, facts.number) ||
        !readNumber(device, prefix + "bInterfaceClass", hexNumber, facts.interfaceClass)) {
        return false;
    }
    readNumber(device, prefix + "bAlternateSetting", decimalNumber, facts.alternateSetting);
    readNumber(device, prefix + "bNumEndpoints", hexNumber, facts.endpointCount);
    readNumber(device, prefix + "bInterfaceSubClass", hexNumber, facts.interfaceSubclass);
    readNumber(device, prefix + "bInterfaceProtocol", hexNumber, facts.interfaceProtocol);
    facts.nameIndex = kUnknownIndex;
    return true;
}

} // namespace qrx::platform
