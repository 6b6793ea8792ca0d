#pragma once

#include "devices/DeviceIdentity.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qrxhid {

/// Which devices: a vendor ID and a product ID, 0 for any; or the one with a number of `list`.
struct DeviceSelector {
    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;
    /// 0 for any.
    unsigned int number = 0;

    /// Reads "04d8:003f", "04d8/003f", "0x04d8:", ":3f", "0:0", "#2". Throws UsageError, which calls it what `option`
    /// says.
    static DeviceSelector parse(std::string_view text, std::string_view option);

    bool matches(const DeviceIdentity& device, unsigned int deviceNumber) const;

    /// "04d8:003f", with "*" for any; "#2".
    std::string text() const;
};

/// Reads what names one kind of device: both halves, where the ID 0 must be written as 0000. No value for a text that
/// DeviceSelector::parse takes as more than one kind; throws UsageError where that does.
std::optional<DeviceIdentity> parseIdentity(std::string_view text);

} // namespace qrxhid
