#include "PlacesByNumber.h"

#include <algorithm>

namespace qrx::hid {

std::size_t PlacesByNumber::placeOf(std::uint64_t number, std::size_t next)
{
    const auto found = std::lower_bound(_places.begin(), _places.end(), std::pair(number, std::size_t{0}));
    if (found != _places.end() && found->first == number) {
        return found->second;
    }
    _places.insert(found, {number, next});
    return next;
}

} // namespace qrx::hid
