#include "UsbNames.h"

#include "SysfsText.h"

namespace qrx::platform {

namespace {

/// Digits alone: no blanks, no sign.
std::optional<std::uint32_t> digits(std::string_view text, std::uint32_t limit)
{
    const bool isPlain = text.find_first_not_of("0123456789") == std::string_view::npos;
    return isPlain ? decimalNumber(text, limit) : std::nullopt;
}

bool isHex(std::string_view text)
{
    return !text.empty() && text.find_first_not_of("0123456789abcdefABCDEF") == std::string_view::npos;
}

/// Cuts the text up to the mark from the front; all of it if there is no mark.
std::string_view takeUpTo(std::string_view& text, char mark)
{
    const std::size_t end = text.find(mark);
    const std::string_view part = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return part;
}

constexpr std::uint32_t kHighestByte = 255;

} // namespace

std::optional<UsbPlace> usbPlace(std::string_view name)
{
    const std::size_t dash = name.find('-');
    if (dash == std::string_view::npos || dash + 1 == name.size() || name.back() == '.') {
        return std::nullopt;
    }
    const auto bus = digits(name.substr(0, dash), kHighestByte);
    if (!bus || *bus == 0) {
        return std::nullopt;
    }
    UsbPlace place;
    place.locationID = *bus << 24;
    std::string_view chain = name.substr(dash + 1);
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
    const std::string_view vendor = takeUpTo(name, ':');
    const std::string_view product = takeUpTo(name, '.');
    return isHex(bus) && isHex(vendor) && isHex(product) && isHex(name);
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
        if (usbPlace(component)) {
            device = component;
        }
    }
    return device;
}

} // namespace qrx::platform
