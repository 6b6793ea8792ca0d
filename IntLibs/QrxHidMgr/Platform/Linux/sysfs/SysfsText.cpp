#include "SysfsText.h"

#include "Text/Utf8.h"

#include <charconv>

namespace qrx::platform {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD"; // U+FFFD

bool isBlank(char character)
{
    return character == ' ' || character == '\t' || character == '\n';
}

std::optional<std::uint32_t> number(std::string_view text, int base, std::uint32_t limit)
{
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
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
    // The kernel adds an end of line to every string. A zero ends the text, as for the tools that print it.
    bytes = bytes.substr(0, bytes.find('\0'));
    if (!bytes.empty() && bytes.back() == '\n') {
        bytes.remove_suffix(1);
    }
    std::string text;
    text.reserve(bytes.size());
    while (!bytes.empty()) {
        const std::size_t length = utf8Length(bytes);
        // An invalid byte becomes the replacement character, so that the name stays recognisable and is valid UTF-8.
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
    // In megabits per second: 1.5, 12, 480, 5000 and more. Only the lowest is no whole number.
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
