#pragma once

/// One field of a report layout: where its values are, and what they are values of. The rules are those of
/// ReportLayout.h.

#include "ReportBits.h"
#include "ReportDescriptor.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qrx::hid {

/// A main item that is no padding, with what is needed to read and write its values.
struct LayoutField {
    ReportType type = ReportType::input;
    std::uint32_t reportID = 0;
    /// From the first bit of the report as it travels: the byte with the report's number is counted where there is one.
    std::size_t bitOffset = 0;
    std::uint32_t sizeBits = 0;
    /// How many values have a usage; of an array, how many entries it has.
    std::uint32_t count = 0;
    bool isArray = false;
    bool isSigned = false;
    /// The item's data, FieldFlags.
    std::uint32_t flags = 0;
    /// As `logicalRange` has them; 0 and 1 for a variable of one bit, whatever is declared.
    std::int64_t logicalMinimum = 0;
    std::int64_t logicalMaximum = 0;
    /// Equal to the logical ones where none are declared, or none that increase (6.2.2.7), and for arrays and single
    /// bits.
    std::int64_t physicalMinimum = 0;
    std::int64_t physicalMaximum = 0;
    /// Arrays measure nothing, so theirs is 0.
    std::uint32_t unit = 0;
    /// The power of ten.
    std::int32_t unitExponent = 0;
    /// The usage page is in the high half. Of a variable item those at positions from `count` on have no place.
    std::vector<UsageRange> usages;
    /// Position of each range's first usage among all of the field.
    std::vector<std::uint64_t> firstPositions;
    std::uint64_t usageCount = 0;
    /// Index of the innermost enclosing collection of the descriptor.
    std::optional<std::size_t> collection;
    /// Byte offset of the item in the descriptor.
    std::size_t itemOffset = 0;

    bool isConstant() const { return (flags & kFieldConstant) != 0; }
    bool hasNullState() const { return (flags & kFieldNullState) != 0; }
    std::size_t valueOffset(std::size_t index) const { return bitOffset + index * sizeBits; }
    /// How many of the values, or entries, lie within a report of `bits`. None where they are wider than the 64 bits
    /// that reading supports.
    std::size_t valuesWithin(std::size_t bits) const
    {
        if (sizeBits > kWidestValueBits || bitOffset >= bits) {
            return 0;
        }
        return std::min<std::size_t>(count, (bits - bitOffset) / sizeBits);
    }
    /// The value, or entry, at `index`, which lies within the report.
    std::int64_t logicalValue(std::span<const std::uint8_t> report, std::size_t index) const
    {
        const std::uint64_t bits = readBits(report, valueOffset(index), sizeBits);
        return isSigned ? signExtended(bits, sizeBits) : static_cast<std::int64_t>(bits);
    }
    /// Whether a value is within the logical range.
    bool isWithin(std::int64_t value) const
    {
        // An unsigned value of 64 bits may look negative here; then it is above any declared maximum.
        return (isSigned || value >= 0) && value >= logicalMinimum && value <= logicalMaximum;
    }
    /// Whether a value fits the bits of the field.
    bool fitsWidth(std::int64_t value) const;
    /// The position, among an array's usages, of the one that an entry of this value shows; none if it shows nothing.
    std::optional<std::uint64_t> shownBy(std::int64_t entry) const;
    /// `position` is below usageCount.
    std::uint32_t usageAt(std::uint64_t position) const;
    /// The position of a usage among those of the field; none if the field does not have it. Of several, the first.
    std::optional<std::uint64_t> positionOf(std::uint32_t usage) const;
};

} // namespace qrx::hid
