#pragma once

/// The global items in force (HID 1.11, 6.2.2.7); what Push keeps and Pop brings back.

#include <cstdint>
#include <optional>

namespace qrx::hid {

/// A minimum and maximum item. Whether the maximum is meant signed is known only once the minimum is, and the two come
/// in either order, so both readings are kept.
struct DeclaredRange {
    std::optional<std::int32_t> minimum;
    std::optional<std::int32_t> maximum;
    std::uint32_t unsignedMaximum = 0;

    bool isComplete() const { return minimum && maximum; }
    std::int64_t low() const { return minimum.value_or(0); }
    /// Unsigned where the minimum is not negative and the signed reading would be below it.
    std::int64_t high() const
    {
        const std::int64_t asSigned = maximum.value_or(0);
        return low() >= 0 && asSigned < low() ? std::int64_t{unsignedMaximum} : asSigned;
    }
};

struct GlobalState {
    std::optional<std::uint16_t> usagePage;
    DeclaredRange logical;
    DeclaredRange physical;
    std::int32_t rawUnitExponent = 0;
    std::uint32_t unit = 0;
    std::optional<std::uint32_t> reportSize;
    std::optional<std::uint32_t> reportCount;
    std::optional<std::uint32_t> reportID;

    std::uint32_t reportNumber() const { return reportID.value_or(0); }
};

} // namespace qrx::hid
