#include "ElementTree.h"

#include "ElementBudget.h"
#include "ElementTreeBuilder.h"

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
    constexpr std::size_t kTouchedBytes = 5; // 32 bits that begin inside a byte
    const std::size_t firstByte = bitOffset / 8;
    if (sizeBits == 0 || firstByte >= report.size()) {
        return 0;
    }
    const std::size_t available = std::min(kTouchedBytes, report.size() - firstByte);
    // Bytes that the report does not have are zeros, as the interface promises; there is no read past the end.
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < available; ++i) {
        bits |= std::uint64_t{report[firstByte + i]} << (8 * i);
    }
    // Shifted to the top, so that the shift back brings in copies of the sign, or zeros.
    const std::uint32_t unused = 64 - std::min(sizeBits, kLargestSize);
    bits = bits >> (bitOffset % 8) << unused;
    return static_cast<std::int32_t>(isSigned ? static_cast<std::int64_t>(bits) >> unused
                                              : static_cast<std::int64_t>(bits >> unused));
}

} // namespace qrx::hid
