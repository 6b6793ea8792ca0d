#include "ElementTree.h"

#include "ElementBudget.h"
#include "ElementTreeBuilder.h"
#include "ReportBits.h"

#include <algorithm>

namespace qrx::hid {

std::uint64_t wantedElements(const Descriptor& descriptor)
{
    // The root, the collections, a handler for each number and one for what has none, the fields.
    return 1 + descriptor.collections.size() + descriptor.reportIDs.size() + 1 + wantedEntries(descriptor.fields);
}

ElementTree buildElementTree(Descriptor& descriptor, const Limits& limits)
{
    return ElementTreeBuilder(descriptor, limits).build();
}

std::int32_t extractValue(std::span<const std::uint8_t> report, std::size_t bitOffset, std::uint32_t sizeBits,
                          bool isSigned)
{
    constexpr std::uint32_t kLargestSize = 32;
    const std::uint32_t size = std::min(sizeBits, kLargestSize);
    const std::size_t reportBits = report.size() * 8;
    if (size == 0 || bitOffset >= reportBits) {
        return 0;
    }
    // Bits that the report does not have are zeros, as the interface promises.
    const auto present = static_cast<std::uint32_t>(std::min<std::size_t>(size, reportBits - bitOffset));
    const std::uint64_t bits = readBits(report, bitOffset, present);
    return static_cast<std::int32_t>(isSigned ? signExtended(bits, size) : static_cast<std::int64_t>(bits));
}

} // namespace qrx::hid
