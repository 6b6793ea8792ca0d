#include "TextLines.h"

#include "RecordingRules.h"

#include <charconv>
#include <istream>

namespace qrx::text_lines {

namespace {

// The carriage return is a blank, so that texts with the line ends of other systems are read alike.
constexpr std::string_view kBlanks = " \t\r";

} // namespace

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string_view nextWord(std::string_view& text)
{
    text = trimmed(text);
    const std::string_view word = text.substr(0, text.find_first_of(kBlanks));
    text.remove_prefix(word.size());
    return word;
}

std::optional<std::uint64_t> number(std::string_view word, int base, std::uint64_t maximum)
{
    std::uint64_t value = 0;
    // `from_chars` takes no sign for unsigned numbers, no prefix and no blank, and knows no locale.
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), value, base);
    if (word.empty() || error != std::errc() || end != word.data() + word.size() || value > maximum) {
        return std::nullopt;
    }
    return value;
}

std::string quoted(std::string_view text)
{
    // Enough to find the place, and a message stays one line.
    constexpr std::size_t kShown = 40;
    return "\"" + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

// Room for one byte more than a line may have, which shows that it is too long, and for the terminator that getline
// writes.
Reader::Reader(std::istream& text) : _text(text), _buffer(recording::kMaximumLineBytes + 2) {}

bool Reader::next(std::string_view& line)
{
    // `getline` into a buffer of fixed size: with a string, one endless line would take all memory.
    const bool isRead = bool(_text.getline(_buffer.data(), static_cast<std::streamsize>(_buffer.size())));
    if (!isRead && _text.gcount() == 0) {
        _fault = _text.eof() ? "" : "cannot be read";
        return false;
    }
    ++_number;
    // The line's end is counted where there is one.
    const auto taken = static_cast<std::size_t>(_text.gcount());
    const std::size_t length = _text.eof() || _text.fail() ? taken : taken - 1;
    if (length > recording::kMaximumLineBytes) {
        _fault = "a line of more than " + std::to_string(recording::kMaximumLineBytes) + " bytes";
    } else if (_text.bad()) {
        // After a read error the last line may be incomplete; it is not judged.
        _fault = "cannot be read";
    }
    line = {_buffer.data(), length};
    return _fault.empty();
}

} // namespace qrx::text_lines
