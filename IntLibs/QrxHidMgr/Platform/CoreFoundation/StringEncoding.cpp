// Conversions between UTF-16 and the four encodings that the published headers name. UTF-8 is taken strictly: names of
// devices come from foreign bytes, and whatever passes here is later printed, compared and put into rules. One wrong
// sequence makes the whole text invalid, so that no two byte sequences give the same name.

#include "StringEncoding.h"

#include "Text/Utf8.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace qrx::cf {

namespace {

/// MacRoman above ASCII, from byte 0x80 (the published mapping, with the euro sign at 0xDB).
constexpr std::array<char16_t, 128> kMacRoman = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5,
    0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, 0x00F2, 0x00F4,
    0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6,
    0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8, 0x221E, 0x00B1, 0x2264, 0x2265,
    0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF,
    0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, 0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5,
    0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044,
    0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02, 0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1,
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9,
    0x0131, 0x02C6, 0x02DC, 0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7};

void appendCharacter(std::u16string& text, char32_t character)
{
    if (character < 0x10000) {
        text.push_back(static_cast<char16_t>(character));
        return;
    }
    // A surrogate pair: ten bits in each half.
    const char32_t offset = character - 0x10000;
    text.push_back(static_cast<char16_t>(0xD800 + (offset >> 10)));
    text.push_back(static_cast<char16_t>(0xDC00 + (offset & 0x3FF)));
}

std::optional<std::u16string> decodeUtf8(std::string_view bytes)
{
    std::u16string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = utf8Length(bytes);
        if (length == 0) {
            return std::nullopt;
        }
        appendCharacter(text, utf8Character(bytes.substr(0, length)));
        bytes.remove_prefix(length);
    }
    return text;
}

/// One byte a character; `above` gives those from 0x80.
template <class Above>
std::u16string decodeBytes(std::string_view bytes, Above above)
{
    std::u16string text;
    text.reserve(bytes.size());
    for (const char character : bytes) {
        const auto byte = static_cast<std::uint8_t>(character);
        text.push_back(byte < 0x80 ? static_cast<char16_t>(byte) : above(byte));
    }
    return text;
}

void appendUtf8(std::string& bytes, char32_t character)
{
    const auto put = [&bytes](char32_t byte) { bytes.push_back(static_cast<char>(static_cast<unsigned char>(byte))); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6);
        put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12);
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | character >> 18);
        put(0x80 | (character >> 12 & 0x3F));
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    }
}

std::string encodeUtf8(std::u16string_view text)
{
    std::string bytes;
    for (std::size_t index = 0; index < text.size(); ++index) {
        char32_t character = text[index];
        if (character >= 0xD800 && character <= 0xDBFF) {
            // What was decoded has its surrogates in pairs.
            character = 0x10000 + ((character - 0xD800) << 10) + (text[++index] - 0xDC00u);
        }
        appendUtf8(bytes, character);
    }
    return bytes;
}

std::optional<std::uint8_t> encodeAbove(char16_t unit, CFStringEncoding encoding)
{
    if (encoding == kCFStringEncodingISOLatin1 && unit <= 0xFF) {
        return static_cast<std::uint8_t>(unit);
    }
    // A linear search of 128 entries: conversions to MacRoman are rare and texts are short.
    if (encoding == kCFStringEncodingMacRoman) {
        const auto* found = std::find(kMacRoman.begin(), kMacRoman.end(), unit);
        if (found != kMacRoman.end()) {
            return static_cast<std::uint8_t>(0x80 + (found - kMacRoman.begin()));
        }
    }
    return std::nullopt;
}

std::optional<std::string> encodeBytes(std::u16string_view text, CFStringEncoding encoding)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (const char16_t unit : text) {
        const auto byte = unit < 0x80 ? std::optional(static_cast<std::uint8_t>(unit)) : encodeAbove(unit, encoding);
        if (!byte) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<char>(*byte));
    }
    return bytes;
}

} // namespace

bool isKnownEncoding(CFStringEncoding encoding)
{
    return encoding == kCFStringEncodingUTF8 || encoding == kCFStringEncodingASCII ||
           encoding == kCFStringEncodingMacRoman || encoding == kCFStringEncodingISOLatin1;
}

bool isAscii(std::string_view bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return static_cast<std::uint8_t>(byte) < 0x80; });
}

std::string_view withoutByteOrderMark(std::string_view utf8)
{
    constexpr std::string_view kMark = "\xEF\xBB\xBF";
    return utf8.substr(utf8.starts_with(kMark) ? kMark.size() : 0);
}

std::optional<std::u16string> decode(std::string_view bytes, CFStringEncoding encoding)
{
    switch (encoding) {
    case kCFStringEncodingUTF8:
        return decodeUtf8(bytes);
    case kCFStringEncodingMacRoman:
        return decodeBytes(bytes, [](std::uint8_t byte) { return kMacRoman[byte - 0x80u]; });
    case kCFStringEncodingISOLatin1:
        return decodeBytes(bytes, [](std::uint8_t byte) { return static_cast<char16_t>(byte); });
    case kCFStringEncodingASCII:
        return isAscii(bytes) ? decodeUtf8(bytes) : std::nullopt;
    default:
        return std::nullopt;
    }
}

std::optional<std::string> encode(std::u16string_view text, CFStringEncoding encoding)
{
    if (!isKnownEncoding(encoding)) {
        return std::nullopt;
    }
    return encoding == kCFStringEncodingUTF8 ? encodeUtf8(text) : encodeBytes(text, encoding);
}

} // namespace qrx::cf
