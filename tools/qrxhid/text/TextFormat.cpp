#include "text/TextFormat.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace qrxhid {

namespace {

bool beginsCharacter(char byte)
{
    // UTF-8 continuation bytes are 10xxxxxx.
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

std::string hexDigits(std::uint32_t number, int digits)
{
    char text[16];
    std::snprintf(text, sizeof text, "%0*x", digits, number);
    return text;
}

} // namespace

std::string hexText(std::uint32_t number, int digits)
{
    return "0x" + hexDigits(number, digits);
}

std::string idText(std::uint32_t vendorID, std::uint32_t productID)
{
    return hexDigits(vendorID, 4) + ":" + hexDigits(productID, 4);
}

std::string releaseText(std::uint32_t release)
{
    // Binary-coded decimal (USB 2.0, 9.6.1): the digits are those of the number in hexadecimal.
    const std::string digits = hexText(release, 4).substr(2);
    const std::string major = digits.substr(0, digits.size() - 2);
    return (major.front() == '0' ? major.substr(1) : major) + "." + digits.substr(digits.size() - 2);
}

std::string bytesText(std::span<const std::uint8_t> bytes, std::string_view separator)
{
    // Runs for each byte of each report, where a call of printf for two digits is most of the work.
    constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * (2 + separator.size()));
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::string countText(std::size_t count, std::string_view singular)
{
    return std::to_string(count) + " " + std::string(singular) + (count == 1 ? "" : "s");
}

std::size_t widthOf(std::string_view text)
{
    // Characters that take two columns or none are counted as one: names with them are rare, and a table that is off by
    // a column can still be read.
    return static_cast<std::size_t>(std::ranges::count_if(text, beginsCharacter));
}

// A word that is too long stays whole: names that were cut could not be searched for.
std::vector<std::string> wrapped(std::string_view text, std::size_t width)
{
    std::vector<std::string> lines;
    std::string line;
    while (!text.empty()) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(word.size() + 1, text.size()));
        if (!line.empty() && widthOf(line) + 1 + widthOf(word) > width) {
            lines.push_back(std::exchange(line, {}));
        }
        line += (line.empty() ? "" : " ") + std::string(word);
    }
    if (!line.empty() || lines.empty()) {
        lines.push_back(line);
    }
    return lines;
}

std::string padded(std::string text, std::size_t width)
{
    const std::size_t length = widthOf(text);
    if (length < width) {
        text.append(width - length, ' ');
    }
    return text;
}

} // namespace qrxhid
