#pragma once

/// UTF-8 whatever the locale. Pure functions; whatever the bytes are, there is an answer.

#include <cstddef>
#include <string_view>

namespace qrx {

/// Bytes of the character at the beginning of `bytes`; 0 if there is none: an end of the text, a byte that begins no
/// character, a character that is cut off, an overlong form, a surrogate, a number above U+10FFFF.
std::size_t utf8Length(std::string_view bytes);

/// The code point of the one character that `bytes` are, as utf8Length has measured it; nothing is checked again.
char32_t utf8Character(std::string_view bytes);

} // namespace qrx
