#include "devices/DeviceSelector.h"

#include "UsageError.h"
#include "text/TextFormat.h"

#include <charconv>

namespace qrxhid {

namespace {

// 0 is any, as in the library's own pairs of IDs; an ID that really is 0 can only be named to `rule`.
std::uint16_t parseHalf(std::string_view half, std::string_view whole, std::string_view option)
{
    std::string_view digits = half;
    if (digits.starts_with("0x") || digits.starts_with("0X")) {
        digits.remove_prefix(2);
    }
    if (half.empty() || half == "*") {
        return 0;
    }
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) {
        throw UsageError(std::string(option) + "\"" + std::string(whole) + "\": \"" + std::string(half) +
                             "\" is not a hexadecimal number up to ffff",
                         std::string(option) + "04d8:003f");
    }
    return number;
}

/// "#2"
unsigned int parseNumber(std::string_view text, std::string_view option)
{
    unsigned int number = 0;
    const auto [end, error] = std::from_chars(text.data() + 1, text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0) {
        throw UsageError(std::string(option) + "\"" + std::string(text) + "\": not a number of list, from #1 on",
                         std::string(option) + "#1");
    }
    return number;
}

std::string halfText(std::uint16_t id)
{
    return id == 0 ? "*" : hexText(id, 4).substr(2);
}

} // namespace

DeviceIdentity DeviceIdentity::of(const QrxHIDDevice& device)
{
    return {static_cast<std::uint16_t>(device.getVendorID()), static_cast<std::uint16_t>(device.getProductID())};
}

std::string DeviceIdentity::text() const
{
    return idText(vendorID, productID);
}

DeviceSelector DeviceSelector::parse(std::string_view text, std::string_view option)
{
    if (text.starts_with('#')) {
        return {0, 0, parseNumber(text, option)};
    }
    // A slash as well, which some tools write between the halves.
    const std::size_t separator = text.find_first_of(":/");
    if (separator == std::string_view::npos) {
        throw UsageError(std::string(option) + "\"" + std::string(text) +
                             "\": there is no colon between vendor and product",
                         std::string(option) + std::string(text) + ":");
    }
    return {parseHalf(text.substr(0, separator), text, option), parseHalf(text.substr(separator + 1), text, option), 0};
}

bool DeviceSelector::matches(const DeviceIdentity& device, unsigned int deviceNumber) const
{
    return (number == 0 || number == deviceNumber) && (vendorID == 0 || vendorID == device.vendorID) &&
           (productID == 0 || productID == device.productID);
}

std::optional<DeviceIdentity> parseIdentity(std::string_view text)
{
    constexpr std::string_view kZero = "0000";
    const DeviceSelector selector = DeviceSelector::parse(text, "");
    const std::string_view vendor = text.substr(0, text.find_first_of(":/"));
    // Four zeros are an ID that is 0; fewer stand for any, as everywhere else.
    const bool isVendor = selector.vendorID != 0 || vendor.ends_with(kZero);
    const bool isProduct = selector.productID != 0 || text.ends_with(kZero);
    return isVendor && isProduct ? std::optional(DeviceIdentity{selector.vendorID, selector.productID}) : std::nullopt;
}

std::string DeviceSelector::text() const
{
    return number != 0 ? "#" + std::to_string(number) : halfText(vendorID) + ":" + halfText(productID);
}

} // namespace qrxhid
