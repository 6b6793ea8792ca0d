#include "vhci/UsbDescription.h"

#include <utility>

namespace qrx::guest {

namespace {

enum DescriptorType : std::uint8_t {
    kDevice = 1,
    kConfiguration = 2,
    kString = 3,
    kInterface = 4,
    kEndpoint = 5,
    kHid = 0x21,
    kReport = 0x22
};

constexpr std::uint8_t kManufacturerIndex = 1;
constexpr std::uint8_t kProductIndex = 2;
constexpr std::uint8_t kSerialIndex = 3;
constexpr std::uint8_t kFirstInterfaceIndex = 4;

/// A string descriptor's length is one byte: 2 of header and 126 units.
constexpr std::size_t kMaximumStringUnits = 126;

/// Endpoint interval: 125 us at high speed, 1 ms at full; a low-speed endpoint may not ask for less than 10 ms.
constexpr std::uint8_t kInterval = 1;
constexpr std::uint8_t kLowSpeedInterval = 10;

std::uint8_t low(std::size_t value)
{
    return static_cast<std::uint8_t>(value & 0xFF);
}

std::uint8_t high(std::size_t value)
{
    return static_cast<std::uint8_t>((value >> 8) & 0xFF);
}

/// One code point from the front of `text`, which is not empty; moves `position` behind it.
char32_t decodeOne(const std::string& text, std::size_t& position)
{
    const auto lead = static_cast<unsigned char>(text[position++]);
    if (lead < 0x80)
        return lead;
    const int following = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : -1;
    if (following < 0)
        return 0xFFFD;
    char32_t code = lead & (0x3FU >> following);
    for (int count = 0; count < following; ++count) {
        if (position >= text.size() || (static_cast<unsigned char>(text[position]) & 0xC0U) != 0x80)
            return 0xFFFD;
        code = (code << 6) | (static_cast<unsigned char>(text[position++]) & 0x3FU);
    }
    return code;
}

} // namespace

std::vector<std::uint16_t> utf16(const std::string& text)
{
    std::vector<std::uint16_t> units;
    for (std::size_t position = 0; position < text.size();) {
        const char32_t code = decodeOne(text, position);
        if (code < 0x10000) {
            units.push_back(static_cast<std::uint16_t>(code));
        } else {
            units.push_back(static_cast<std::uint16_t>(0xD800 + ((code - 0x10000) >> 10)));
            units.push_back(static_cast<std::uint16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
        }
    }
    return units;
}

UsbDescription::UsbDescription(UsbIdentity identity, std::vector<UsbInterface> interfaces)
    : _identity(std::move(identity)), _interfaces(std::move(interfaces))
{
}

std::uint8_t UsbDescription::indexOf(const std::optional<std::string>& text, std::uint8_t index) const
{
    return text ? index : std::uint8_t{0};
}

Bytes UsbDescription::device() const
{
    const std::uint8_t packetSize = _identity.speed == UsbSpeed::low ? 8 : 64;
    return {18,
            kDevice,
            0x00,
            0x02,
            0,
            0,
            0,
            packetSize,
            low(_identity.vendor),
            high(_identity.vendor),
            low(_identity.product),
            high(_identity.product),
            low(_identity.release),
            high(_identity.release),
            indexOf(_identity.manufacturer, kManufacturerIndex),
            indexOf(_identity.productName, kProductIndex),
            indexOf(_identity.serial, kSerialIndex),
            1};
}

Bytes UsbDescription::configuration() const
{
    Bytes bytes{9, kConfiguration, 0, 0, interfaceCount(), 1, 0, 0xA0, 50};
    for (std::size_t number = 0; number < _interfaces.size(); ++number)
        appendInterface(bytes, number);
    bytes[2] = low(bytes.size());
    bytes[3] = high(bytes.size());
    return bytes;
}

void UsbDescription::appendInterface(Bytes& bytes, std::size_t number) const
{
    const UsbInterface& interface = _interfaces[number];
    const std::uint8_t endpoints = !interface.isHid ? 0 : interface.hasOutEndpoint ? 2 : 1;
    const std::uint8_t interfaceClass = interface.isHid ? 3 : 0xFF;
    const std::uint8_t name = indexOf(interface.name, static_cast<std::uint8_t>(kFirstInterfaceIndex + number));
    const Bytes head{9,   kInterface, low(number), 0, endpoints, interfaceClass, interface.subclass, interface.protocol,
                     name};
    bytes.insert(bytes.end(), head.begin(), head.end());
    if (!interface.isHid)
        return;
    const Bytes hidDescriptor = hid(number);
    bytes.insert(bytes.end(), hidDescriptor.begin(), hidDescriptor.end());
    appendEndpoint(bytes, number, true);
    if (interface.hasOutEndpoint)
        appendEndpoint(bytes, number, false);
}

void UsbDescription::appendEndpoint(Bytes& bytes, std::size_t number, bool in) const
{
    const auto address = static_cast<std::uint8_t>(endpointOf(number) | (in ? 0x80U : 0U));
    const std::uint16_t packet = _interfaces[number].maximumPacket;
    const std::uint8_t interval = _identity.speed == UsbSpeed::low ? kLowSpeedInterval : kInterval;
    const Bytes endpoint{7, kEndpoint, address, 3, low(packet), high(packet), interval};
    bytes.insert(bytes.end(), endpoint.begin(), endpoint.end());
}

Bytes UsbDescription::hid(std::size_t interface) const
{
    const UsbInterface& description = _interfaces.at(interface);
    const std::size_t length =
        description.announcedDescriptorLength.value_or(static_cast<std::uint16_t>(description.reportDescriptor.size()));
    return {9, kHid, 0x11, 0x01, 0, 1, kReport, low(length), high(length)};
}

Bytes UsbDescription::string(std::uint8_t index) const
{
    if (index == 0)
        return {4, kString, 0x09, 0x04}; // English (United States)
    std::optional<std::string> text;
    if (index == kManufacturerIndex)
        text = _identity.manufacturer;
    else if (index == kProductIndex)
        text = _identity.productName;
    else if (index == kSerialIndex)
        text = _identity.serial;
    else if (index - kFirstInterfaceIndex < interfaceCount())
        text = _interfaces[index - std::size_t{kFirstInterfaceIndex}].name;
    if (!text)
        return {};
    std::vector<std::uint16_t> units = utf16(*text);
    units.resize(std::min(units.size(), kMaximumStringUnits));
    Bytes bytes{low(2 + 2 * units.size()), kString};
    for (const std::uint16_t unit : units) {
        bytes.push_back(low(unit));
        bytes.push_back(high(unit));
    }
    return bytes;
}

} // namespace qrx::guest
