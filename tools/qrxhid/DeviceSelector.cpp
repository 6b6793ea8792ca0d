#include "DeviceSelector.h"

#include "TextFormat.h"
#include "UsageError.h"

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

bool DeviceSelector::matches(std::uint32_t vendor, std::uint32_t product) const
{
    return (vendorID == 0 || vendorID == vendor) && (productID == 0 || productID == product);
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
