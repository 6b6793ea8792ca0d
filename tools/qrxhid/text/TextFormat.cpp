#include "text/TextFormat.h"

#include <algorithm>
#include <cstdio>

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

std::string bytesText(std::span<const std::uint8_t> bytes, std::string_view separator)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (!text.empty()) {
            text += separator;
        }
        text += hexDigits(byte, 2);
    }
    return text;
}

std::string countText(std::size_t count, std::string_view singular)
{
    return std::to_string(count) + " " + std::string(singular) + (count == 1 ? "" : "s");
}

std::string padded(std::string text, std::size_t width)
{
    const auto length = static_cast<std::size_t>(std::ranges::count_if(text, beginsCharacter));
    if (length < width) {
        text.append(width - length, ' ');
    }
    return text;
}

} // namespace qrxhid
