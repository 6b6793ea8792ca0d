#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What the texts of this library have in common: lines of words and numbers.
namespace qrx::text_lines {

/// Without the blanks at its ends; a carriage return is one, so files of other systems read the same.
std::string_view trimmed(std::string_view text);
/// Takes the next word off the front of `text`; empty at its end.
std::string_view nextWord(std::string_view& text);
/// The whole word as a number not above `maximum`, without a sign or a prefix.
std::optional<std::uint64_t> number(std::string_view word, int base, std::uint64_t maximum);
/// The beginning of a text in quotes, for messages: a whole line could be 256 KiB.
std::string quoted(std::string_view text);

/// Reads lines of a bounded length.
class Reader {
public:
    explicit Reader(std::istream& text);
    /// False at the end and at a fault. `line` is valid until the next call.
    bool next(std::string_view& line);
    /// Why there are no more lines; empty at the end of the text.
    const std::string& fault() const { return _fault; }
    /// The last line's number, from 1.
    std::size_t number() const { return _number; }

private:
    std::istream& _text;
    std::vector<char> _buffer;
    std::size_t _number = 0;
    std::string _fault;
};

} // namespace qrx::text_lines
