#include "SysfsText.h"

#include <charconv>

namespace qrx::platform {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD

/// What the first byte of a character promises: its length, and the range of its second byte that keeps out overlong
/// forms, surrogates and numbers above U+10FFFF (Unicode, table 3-7).
struct Promise {
    std::size_t length = 0;
    unsigned char secondLow = 0x80;
    unsigned char secondHigh = 0xBF;
};

Promise promiseOf(unsigned char first)
{
    if (first < 0x80) {
        return {1};
    }
    if (first >= 0xC2 && first <= 0xDF) {
        return {2};
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return {3, static_cast<unsigned char>(first == 0xE0 ? 0xA0 : 0x80),
                static_cast<unsigned char>(first == 0xED ? 0x9F : 0xBF)};
    }
    if (first >= 0xF0 && first <= 0xF4) {
        return {4, static_cast<unsigned char>(first == 0xF0 ? 0x90 : 0x80),
                static_cast<unsigned char>(first == 0xF4 ? 0x8F : 0xBF)};
    }
    return {};
}

/// Bytes of the character at the beginning; 0 if there is none.
std::size_t characterLength(std::string_view bytes)
{
    const Promise promise = promiseOf(static_cast<unsigned char>(bytes[0]));
    if (promise.length == 0 || promise.length > bytes.size()) {
        return 0;
    }
    for (std::size_t at = 1; at < promise.length; ++at) {
        const auto byte = static_cast<unsigned char>(bytes[at]);
        const unsigned char low = at == 1 ? promise.secondLow : 0x80;
        const unsigned char high = at == 1 ? promise.secondHigh : 0xBF;
        if (byte < low || byte > high) {
            return 0;
        }
    }
    return promise.length;
}

std::optional<std::uint32_t> number(std::string_view text, int base, std::uint32_t limit)
{
    constexpr std::string_view kBlanks = " \t\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return std::nullopt;
    }
    text = text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size() || value > limit) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::string utf8Text(std::string_view bytes)
{
    bytes = bytes.substr(0, bytes.find('\0'));
    if (!bytes.empty() && bytes.back() == '\n') {
        bytes.remove_suffix(1);
    }
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        text.append(length != 0 ? bytes.substr(0, length) : kReplacement);
        bytes.remove_prefix(length != 0 ? length : 1);
    }
    return text;
}

std::optional<std::uint32_t> hexNumber(std::string_view text, std::uint32_t limit)
{
    return number(text, 16, limit);
}

std::optional<std::uint32_t> decimalNumber(std::string_view text, std::uint32_t limit)
{
    return number(text, 10, limit);
}

std::uint8_t speedNumber(std::string_view text)
{
    if (text.starts_with("1.5")) {
        return 0;
    }
    constexpr std::uint32_t kFastest = 1000000;
    const std::uint32_t megabits = decimalNumber(text, kFastest).value_or(12);
    if (megabits >= 5000) {
        return 3;
    }
    return megabits >= 480 ? 2 : 1;
}

} // namespace qrx::platform
