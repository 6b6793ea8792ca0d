#include "LayoutField.h"

#include "FieldRules.h"

namespace qrx::hid {

namespace {

/// How many values of a variable item have a name. The last usage repeats for the values that are left over, but bits
/// and the end of a range do not repeat: then the rest is padding.
std::uint32_t namedValues(const Field& field)
{
    const std::uint64_t usages = usageCount(field);
    const bool repeatsLast = !isButton(field) && field.usages.back().count() == 1;
    return repeatsLast ? field.count : static_cast<std::uint32_t>(std::min<std::uint64_t>(field.count, usages));
}

void setUsages(LayoutField& field, const std::vector<UsageRange>& usages)
{
    field.usages = usages;
    field.firstPositions.reserve(usages.size());
    for (const UsageRange& range : usages) {
        // The running sum makes the usage of a position a binary search, even where a range declares a whole page.
        field.firstPositions.push_back(field.usageCount);
        field.usageCount += range.count();
    }
}

} // namespace

void setLayoutField(LayoutField& field, const Field& item)
{
    field.type = item.type;
    field.reportID = item.reportID;
    field.bitOffset = item.bitOffset + (item.reportID != 0 ? kReportIDBits : 0);
    field.sizeBits = item.sizeBits;
    field.isArray = !item.isVariable();
    field.count = field.isArray ? item.count : namedValues(item);
    field.flags = item.flags;
    // A single bit is on or off, whatever is declared.
    const bool isBit = item.isVariable() && isButton(item);
    const ValueRange logical = isBit ? ValueRange{0, 1} : logicalRange(item);
    const ValueRange physical = isBit || field.isArray ? logical : physicalRange(item, logical);
    field.isSigned = logical.minimum < 0;
    field.logicalMinimum = logical.minimum;
    field.logicalMaximum = logical.maximum;
    field.physicalMinimum = physical.minimum;
    field.physicalMaximum = physical.maximum;
    if (!field.isArray) {
        field.unit = item.unit;
        field.unitExponent = item.unitExponent;
    }
    setUsages(field, item.usages);
    field.collection = item.collection;
    field.itemOffset = item.offset;
}

bool LayoutField::fitsWidth(std::int64_t value) const
{
    // A shift by the whole width would be undefined, so the widest field is decided apart.
    if (sizeBits >= kWidestValueBits) {
        return isSigned || value >= 0;
    }
    if (!isSigned) {
        return value >= 0 && static_cast<std::uint64_t>(value) >> sizeBits == 0;
    }
    const std::int64_t top = std::int64_t{1} << (sizeBits - 1);
    return value >= -top && value < top;
}

std::optional<std::uint64_t> LayoutField::shownBy(std::int64_t entry) const
{
    // An unsigned entry of 64 bits may look negative here, and is then beyond the usages of any array.
    if (entry < logicalMinimum) {
        return std::nullopt;
    }
    // Subtracted as unsigned numbers: the minimum may be negative and the entry large, which would overflow otherwise.
    const std::uint64_t position = static_cast<std::uint64_t>(entry) - static_cast<std::uint64_t>(logicalMinimum);
    return position < usageCount ? std::optional(position) : std::nullopt;
}

std::uint32_t LayoutField::usageAt(std::uint64_t position) const
{
    const auto after = std::upper_bound(firstPositions.begin(), firstPositions.end(), position);
    const auto range = static_cast<std::size_t>(after - firstPositions.begin()) - 1;
    return static_cast<std::uint32_t>(usages[range].first + (position - firstPositions[range]));
}

std::uint32_t LayoutField::usageOfValue(std::size_t index) const
{
    return usageAt(std::min<std::uint64_t>(index, usageCount - 1));
}

std::optional<std::uint64_t> LayoutField::positionOf(std::uint32_t usage) const
{
    for (std::size_t range = 0; range < usages.size(); ++range) {
        // Linear over the ranges, which are as few as the items of the descriptor; a range may cover a whole page.
        if (usage >= usages[range].first && usage <= usages[range].last) {
            return firstPositions[range] + (usage - usages[range].first);
        }
    }
    return std::nullopt;
}

} // namespace qrx::hid
