#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace qrx::hid {

/// Where a list has the entry of a number. A hostile descriptor can make such a list a thousand entries long: to search
/// the list itself for each item would cost more than all other work of its arrival.
class PlacesByNumber {
public:
    /// The place of the number's entry. If the number is new, its place is `next`, now and from now on.
    std::size_t placeOf(std::uint64_t number, std::size_t next);

private:
    /// Ascending.
    std::vector<std::pair<std::uint64_t, std::size_t>> _places;
};

} // namespace qrx::hid
