#include "UsbAttributes.h"

#include "SysfsText.h"

#include <initializer_list>
#include <limits>

namespace qrx::platform {

namespace {

using Parse = std::optional<std::uint32_t> (*)(std::string_view, std::uint32_t);

/// One file, and where its number goes. A file that is missing or cannot be parsed leaves the default; the caller
/// decides whether the facts are of use without it.
template <typename Number>
struct Attribute {
    const char* file;
    Parse parse;
    Number& value;
};

/// Returns how many could be read.
template <typename Number>
int readNumbers(const SysfsDirectory& directory, const std::string& prefix,
                std::initializer_list<Attribute<Number>> attributes)
{
    int count = 0;
    std::string text;
    for (const auto& [file, parse, value] : attributes) {
        const bool isRead = directory.read(prefix + file, text) == SysfsDirectory::Result::done;
        if (const auto number = isRead ? parse(text, std::numeric_limits<Number>::max()) : std::nullopt) {
            value = static_cast<Number>(*number);
            ++count;
        }
    }
    return count;
}

/// The index of a string is not an attribute. Any number but 0 makes the file with the string decide.
constexpr std::uint8_t kUnknownIndex = 0xFF;

} // namespace

bool readDeviceAttributes(const SysfsDirectory& device, UsbDescriptors& facts)
{
    facts = {};
    if (readNumbers<std::uint16_t>(
            device, "", {{"idVendor", hexNumber, facts.vendorID}, {"idProduct", hexNumber, facts.productID}}) != 2) {
        return false;
    }
    // Without one of these the device can still be used.
    readNumbers<std::uint16_t>(device, "", {{"bcdDevice", hexNumber, facts.releaseNumber}});
    readNumbers<std::uint8_t>(device, "",
                              {{"bDeviceClass", hexNumber, facts.deviceClass},
                               {"bDeviceSubClass", hexNumber, facts.deviceSubclass},
                               {"bDeviceProtocol", hexNumber, facts.deviceProtocol},
                               {"bMaxPacketSize0", decimalNumber, facts.maxPacketSize0},
                               {"bNumConfigurations", decimalNumber, facts.configurationCount}});
    facts.vendorNameIndex = facts.productNameIndex = facts.serialNumberIndex = kUnknownIndex;
    return true;
}

bool readInterfaceAttributes(const SysfsDirectory& device, const std::string& directory,
                             UsbDescriptors::Interface& facts)
{
    facts = {};
    const std::string prefix = directory + "/";
    if (readNumbers<std::uint8_t>(device, prefix,
                                  {{"bInterfaceNumber", hexNumber, facts.number},
                                   {"bInterfaceClass", hexNumber, facts.interfaceClass}}) != 2) {
        return false;
    }
    readNumbers<std::uint8_t>(device, prefix,
                              {{"bAlternateSetting", decimalNumber, facts.alternateSetting},
                               {"bNumEndpoints", hexNumber, facts.endpointCount},
                               {"bInterfaceSubClass", hexNumber, facts.interfaceSubclass},
                               {"bInterfaceProtocol", hexNumber, facts.interfaceProtocol}});
    facts.nameIndex = kUnknownIndex;
    return true;
}

} // namespace qrx::platform
