#pragma once

#include <cstdint>
#include <string_view>

namespace qrxhid {

/// What is printed on a key: "A" for the usage 0x04 of the keyboard page, which the usage tables call "Keyboard a and
/// A". Empty for a key without such a name.
std::string_view keyName(std::uint32_t usage);

} // namespace qrxhid
