#include "LayoutField.h"

namespace qrx::hid {

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
