#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qrx::hid {

/// Where a list has the entry of a number. A hostile descriptor can make such lists long, so they are not searched
/// themselves: its arrival would take time with the square of its length.
class PlacesByNumber {
public:
    /// The place of the number's entry; `next`, which it has from now on, if it is asked for the first time.
    std::size_t placeOf(std::uint64_t number, std::size_t next);

private:
    /// Ascending.
    std::vector<std::pair<std::uint64_t, std::size_t>> _places;
};

} // namespace qrx::hid
