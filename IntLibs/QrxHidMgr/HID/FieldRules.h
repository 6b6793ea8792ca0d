#pragma once

/// Rules that elements and layouts share: what a main item stands for.

#include "ReportDescriptor.h"

#include <cstdint>

namespace qrx::hid {

struct ValueRange {
    std::int64_t minimum = 0;
    std::int64_t maximum = 0;
};

/// Bits of the report number, which is the first byte of a numbered report.
constexpr std::uint32_t kReportIDBits = 8;

/// Array items and one-bit variables; all other variables are values. Buttons are numbered before values.
inline bool isButton(const Field& field)
{
    return !field.isVariable() || field.sizeBits == 1;
}

/// Usage 0 is undefined on every page. The page is in the high half.
inline bool isUndefined(std::uint32_t usage)
{
    constexpr std::uint32_t kUsageIDMask = 0xFFFF;
    return (usage & kUsageIDMask) == 0;
}

/// Whether a report of this number can travel at all: the number fits a byte.
bool canTravel(std::uint32_t reportID);

/// True for a field that makes no element: it has no bits or no usage, or it is constant and all its usages are
/// undefined.
bool isPadding(const Field& field);

/// How many usages the item names.
std::uint64_t usageCount(const Field& field);

/// How many values the last usage of a value field stands for: its own and those for which no usage is left. 1 where it
/// makes no duplicates. The field is no padding.
std::uint32_t lastUsageCount(const Field& field);

/// The declared range as far as the field can hold it: a maximum above the largest number of its bits becomes that
/// number, a minimum above it 0. If it is inverted then, the ends of a variable's change places, an array's stay.
ValueRange logicalRange(const Field& field);

/// HID 1.11, 6.2.2.7: physical limits that are both 0 or undeclared equal the logical ones; so do, here, those that are
/// not increasing.
ValueRange physicalRange(const Field& field, const ValueRange& logical);

} // namespace qrx::hid
