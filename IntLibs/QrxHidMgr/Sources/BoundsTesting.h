#pragma once

// Element access with the message that applications know.

#include <cstddef>
#include <stdexcept>
#include <vector>

/// The entry at `index`; throws when there is none. The message is the library's own: what `vector::at` says differs
/// between standard libraries.
template <typename Entry>
const Entry& entryAt(const std::vector<Entry>& entries, std::size_t index)
{
    if (index >= entries.size()) {
        throw std::out_of_range("vector [] access out of range");
    }
    return entries[index];
}
