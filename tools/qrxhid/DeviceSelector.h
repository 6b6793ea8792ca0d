#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qrxhid {

/// Which devices: a vendor ID and a product ID, 0 for any.
struct DeviceSelector {
    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;

    /// Reads "04d8:003f", "04d8/003f", "0x04d8:", ":3f", "0:0". Throws UsageError, which calls it what `option` says.
    static DeviceSelector parse(std::string_view text, std::string_view option = "--device ");

    /// Neither half is any.
    bool isOneKind() const { return vendorID != 0 && productID != 0; }

    bool matches(std::uint32_t vendor, std::uint32_t product) const;

    /// "04d8:003f", with "*" for any.
    std::string text() const;
};

/// The list that the library takes; one that matches everything if there is no selector.
std::vector<std::pair<unsigned short, unsigned short>> idPairs(const std::vector<DeviceSelector>& selectors);

} // namespace qrxhid
