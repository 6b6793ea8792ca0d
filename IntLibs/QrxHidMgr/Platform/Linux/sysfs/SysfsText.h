#pragma once

/// How attribute files are read as values. Pure functions; whatever the bytes are, there is an answer.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace qrx::platform {

/// The text without its one trailing newline and up to the first zero byte, as valid UTF-8 whatever the locale: each
/// byte that belongs to no character becomes U+FFFD.
std::string utf8Text(std::string_view bytes);

/// Hexadecimal or decimal digits; blanks around them are skipped. No value if there are none, something else follows,
/// or the number is above `limit`.
std::optional<std::uint32_t> hexNumber(std::string_view text, std::uint32_t limit);
std::optional<std::uint32_t> decimalNumber(std::string_view text, std::uint32_t limit);

/// The platform's speed number of the attribute `speed`, which is in Mbit/s: 0 low, 1 full, 2 high, 3 super and above;
/// 1 for what cannot be read.
std::uint8_t speedNumber(std::string_view text);

} // namespace qrx::platform
