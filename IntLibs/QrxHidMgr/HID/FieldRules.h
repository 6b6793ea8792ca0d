#pragma once

/// Rules that elements and layouts share: what a main item stands for.

#include "ReportDescriptor.h"

#include <cstdint>

namespace qrx::hid {

struct ValueRange {
    std::int64_t minimum = 0;
    std::int64_t maximum = 0;
};

/// The byte that begins a numbered report.
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

/// Whether the field's report can travel at all: its number fits a byte.
bool canTravel(std::uint32_t reportID);

/// True for a field that only fills the report up: it has no bits or no usage.
bool isPadding(const Field& field);

/// How many usages the item names.
std::uint64_t usageCount(const Field& field);

/// The values that the last usage of a value field stands for: those for which no usage is left. 1 where it makes no
/// duplicates.
std::uint32_t lastUsageCount(const Field& field);

/// The declared range as far as the field can hold it. An inverted one is turned round, but not an array's.
ValueRange logicalRange(const Field& field);

/// HID 1.11, 6.2.2.7: physical limits that are both 0 or undeclared equal the logical ones; so do, here, those that are
/// not increasing.
ValueRange physicalRange(const Field& field, const ValueRange& logical);

} // namespace qrx::hid
