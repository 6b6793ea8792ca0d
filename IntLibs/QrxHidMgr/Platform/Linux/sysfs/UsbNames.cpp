// Names in sysfs: devices by bus and ports ("1-4.2"), interfaces by configuration and number ("1-4.2:1.0"), HID devices
// by bus, IDs and a running number ("0003:046D:C52B.0001"), report nodes ("hidraw0"). Root hubs ("usb1") are none of
// these.

#include "UsbNames.h"

#include <algorithm>

namespace qrx::platform {

namespace {

// Every entry of a folder passes here, and names are short: one look at each character, without a call.

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

/// Digits alone: no blanks, no sign. `limit` is far below the largest number of 32 bits.
std::optional<std::uint32_t> digits(std::string_view text, std::uint32_t limit)
{
    std::uint32_t value = 0;
    for (const char character : text) {
        if (!isDigit(character)) {
            return std::nullopt;
        }
        value = value * 10 + static_cast<std::uint32_t>(character - '0');
        if (value > limit) {
            return std::nullopt;
        }
    }
    return text.empty() ? std::nullopt : std::optional(value);
}

bool isHex(std::string_view text)
{
    for (const char character : text) {
        // The kernel writes capital letters; lower case is accepted for trees that were made by hand.
        const char small = static_cast<char>(character | 0x20);
        if (!isDigit(character) && (small < 'a' || small > 'f')) {
            return false;
        }
    }
    return !text.empty();
}

/// Cuts the text up to the mark from the front; all of it if there is no mark.
std::string_view takeUpTo(std::string_view& text, char mark)
{
    std::size_t end = 0;
    while (end < text.size() && text[end] != mark) {
        ++end;
    }
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

constexpr std::uint32_t kHighestByte = 255;

} // namespace

std::optional<UsbPlace> usbPlace(std::string_view name)
{
    if (name.empty() || !isDigit(name.front()) || name.back() == '.') {
        return std::nullopt;
    }
    std::string_view chain = name;
    const auto bus = digits(takeUpTo(chain, '-'), kHighestByte);
    if (!bus || *bus == 0 || chain.empty()) {
        return std::nullopt;
    }
    UsbPlace place;
    // As the platform builds it: the bus in the top byte, then four bits for each port on the way. Hubs nest at most
    // five deep, so six ports fit.
    place.locationID = *bus << 24;
    for (int shift = 20; !chain.empty(); shift -= 4) {
        const auto port = digits(takeUpTo(chain, '.'), kHighestByte);
        if (!port) {
            return std::nullopt;
        }
        if (shift >= 0) {
            place.locationID |= (*port & 0xF) << shift;
        }
        place.portNumber = static_cast<std::uint8_t>(*port);
    }
    return place;
}

std::optional<UsbInterfaceName> usbInterfaceName(std::string_view name)
{
    UsbInterfaceName parts;
    parts.device = takeUpTo(name, ':');
    const auto configuration = digits(takeUpTo(name, '.'), kHighestByte);
    const auto number = digits(name, kHighestByte);
    if (!usbPlace(parts.device) || !configuration || !number) {
        return std::nullopt;
    }
    parts.configuration = static_cast<std::uint8_t>(*configuration);
    parts.number = static_cast<std::uint8_t>(*number);
    return parts;
}

bool isHIDDeviceName(std::string_view name)
{
    const std::string_view bus = takeUpTo(name, ':');
    if (!isHex(bus)) {
        return false;
    }
    const std::string_view vendor = takeUpTo(name, ':');
    const std::string_view product = takeUpTo(name, '.');
    return isHex(vendor) && isHex(product) && isHex(name);
}

bool isHidrawName(std::string_view name)
{
    constexpr std::string_view kPrefix = "hidraw";
    constexpr std::uint32_t kHighestMinor = (1U << 20) - 1;
    return name.starts_with(kPrefix) && digits(name.substr(kPrefix.size()), kHighestMinor).has_value();
}

std::string_view usbDeviceOf(std::string_view path)
{
    std::string_view device;
    while (!path.empty()) {
        const std::string_view component = takeUpTo(path, '/');
        // The last device on the path: hubs come before the device that is plugged into them.
        if (usbPlace(component)) {
            device = component;
        }
    }
    return device;
}

} // namespace qrx::platform
