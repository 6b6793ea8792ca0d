#include "devices/DeviceSelector.h"

#include "UsageError.h"
#include "text/TextFormat.h"

#include <charconv>

namespace qrxhid {

namespace {

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

std::string halfText(std::uint16_t id)
{
    return id == 0 ? "*" : hexText(id, 4).substr(2);
}

} // namespace

std::string DeviceIdentity::text() const
{
    return idText(vendorID, productID);
}

DeviceSelector DeviceSelector::parse(std::string_view text, std::string_view option)
{
    const std::size_t separator = text.find_first_of(":/");
    if (separator == std::string_view::npos) {
        throw UsageError(std::string(option) + "\"" + std::string(text) +
                             "\": there is no colon between vendor and product",
                         std::string(option) + std::string(text) + ":");
    }
    return {parseHalf(text.substr(0, separator), text, option), parseHalf(text.substr(separator + 1), text, option)};
}

bool DeviceSelector::matches(const DeviceIdentity& device) const
{
    return (vendorID == 0 || vendorID == device.vendorID) && (productID == 0 || productID == device.productID);
}

std::optional<DeviceIdentity> parseIdentity(std::string_view text)
{
    constexpr std::string_view kZero = "0000";
    const DeviceSelector selector = DeviceSelector::parse(text, "");
    const std::string_view vendor = text.substr(0, text.find_first_of(":/"));
    const bool isVendor = selector.vendorID != 0 || vendor.ends_with(kZero);
    const bool isProduct = selector.productID != 0 || text.ends_with(kZero);
    return isVendor && isProduct ? std::optional(DeviceIdentity{selector.vendorID, selector.productID}) : std::nullopt;
}

std::string DeviceSelector::text() const
{
    return halfText(vendorID) + ":" + halfText(productID);
}

std::vector<std::pair<unsigned short, unsigned short>> idPairs(const std::vector<DeviceSelector>& selectors)
{
    std::vector<std::pair<unsigned short, unsigned short>> pairs;
    for (const DeviceSelector& selector : selectors) {
        pairs.emplace_back(selector.vendorID, selector.productID);
    }
    if (pairs.empty()) {
        pairs.emplace_back(static_cast<unsigned short>(0), static_cast<unsigned short>(0));
    }
    return pairs;
}

} // namespace qrxhid
