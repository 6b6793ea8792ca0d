#pragma once

#include "QrxReportType.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace qrxhid {

/// The bits of a report that one main item declares, padding included.
struct DeclaredBits {
    QrxReportType type = QrxReportType::input;
    std::uint32_t reportID = 0;
    /// From the first bit of the report as it travels.
    std::size_t offset = 0;
    std::size_t count = 0;
};

/// Neighbouring items, by their indexes.
struct ItemRange {
    std::size_t first = 0;
    std::size_t last = 0;
};

/// An item's part in the reports.
struct ItemScope {
    /// Set for an item that names usages; the page is in the high 16 bits. Both ends of a range have the whole range.
    std::optional<std::uint32_t> firstUsage;
    std::uint32_t lastUsage = 0;
    /// Only of an Input, Output or Feature item that declares bits.
    std::optional<DeclaredBits> bits;
    /// The item has a part in those main items that are in one of these ranges: a Collection in all within, a global
    /// item in those up to the next of its kind (and again where it is popped), a local one in the next.
    std::vector<ItemRange> reach;
};

/// One for each item, in the order of itemTexts. Items that lie beyond what the library reads of a descriptor have
/// none.
std::vector<ItemScope> itemScopes(std::span<const std::uint8_t> descriptor);

} // namespace qrxhid
