#pragma once

#include "devices/DeviceIdentity.h"

#include <cstdint>
#include <optional>
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
    static DeviceSelector parse(std::string_view text, std::string_view option);

    bool matches(const DeviceIdentity& device) const;

    /// "04d8:003f", with "*" for any.
    std::string text() const;
};

/// Reads what names one kind of device: both halves, where the ID 0 must be written as 0000. No value for a text that
/// DeviceSelector::parse takes as more than one kind; throws UsageError where that does.
std::optional<DeviceIdentity> parseIdentity(std::string_view text);

/// The list that the library takes; one that matches everything if there is no selector.
std::vector<std::pair<unsigned short, unsigned short>> idPairs(const std::vector<DeviceSelector>& selectors);

} // namespace qrxhid
