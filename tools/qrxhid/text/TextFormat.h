#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qrxhid {

/// "0x00ff": at least `digits` digits.
std::string hexText(std::uint32_t number, int digits);

/// "04d8:003f"
std::string idText(std::uint32_t vendorID, std::uint32_t productID);

/// A release number in binary-coded decimal: "1.10" for 0x0110.
std::string releaseText(std::uint32_t release);

/// "01 ff 00"; with an empty separator "01ff00".
std::string bytesText(std::span<const std::uint8_t> bytes, std::string_view separator = " ");

/// "1 byte", "3 bytes".
std::string countText(std::size_t count, std::string_view singular);

/// How many characters of UTF-8 the text has; each counts as one column.
std::size_t widthOf(std::string_view text);

/// The text in lines of at most `width` characters, cut at blanks; a longer word stays whole.
std::vector<std::string> wrapped(std::string_view text, std::size_t width);

/// The text, filled with blanks to `width` characters (UTF-8 sequences count once).
std::string padded(std::string text, std::size_t width);

} // namespace qrxhid
