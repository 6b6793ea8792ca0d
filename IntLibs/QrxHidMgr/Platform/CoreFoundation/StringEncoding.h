#pragma once

/// Bytes of the four encodings to UTF-16 and back. Pure functions.

#include <CoreFoundation/CoreFoundation.h>

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace qrx::cf {

/// True for the encodings known here; all of them hold ASCII as it is.
bool isKnownEncoding(CFStringEncoding encoding);

bool isAscii(std::string_view bytes);

/// UTF-8 without the byte order mark that it may begin with; of two marks the second is text.
std::string_view withoutByteOrderMark(std::string_view utf8);

/// Nothing if the bytes are not valid in the encoding. UTF-8 is taken strictly: no overlong form, no surrogate, no
/// number above U+10FFFF, nothing cut off. In MacRoman and Latin-1 every byte is a character.
std::optional<std::u16string> decode(std::string_view bytes, CFStringEncoding encoding);

/// Nothing if a character has no form in the encoding. The text is one that decode gave: its surrogates are in pairs.
std::optional<std::string> encode(std::u16string_view text, CFStringEncoding encoding);

} // namespace qrx::cf
