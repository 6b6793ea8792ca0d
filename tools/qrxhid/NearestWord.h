#pragma once

#include <span>
#include <string>
#include <string_view>

namespace qrxhid {

/// The candidate that is fewest typing mistakes (a letter missing, added, wrong, or two exchanged) away from `word`;
/// empty if all are further away than half its letters.
std::string nearestWord(std::string_view word, std::span<const std::string> candidates);

} // namespace qrxhid
