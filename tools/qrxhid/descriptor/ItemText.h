#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qrxhid {

/// One item of a report descriptor in words.
struct ItemText {
    /// In bytes from the descriptor's beginning.
    std::size_t offset = 0;
    std::vector<std::uint8_t> bytes;
    /// How many collections are open around it; both ends of a collection stand outside.
    std::size_t depth = 0;
    /// "Usage Page", as HID 1.11 spells it.
    std::string name;
    /// "Generic Desktop"; empty where an item has no data.
    std::string meaning;
};

/// Every item, whatever the bytes are; one that the end cuts off is the last.
std::vector<ItemText> itemTexts(std::span<const std::uint8_t> descriptor);

} // namespace qrxhid
