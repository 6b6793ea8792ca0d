// Text of a device made fit to be shown. A terminal acts on control characters, and a reader is misled by characters
// that are invisible or change the direction of writing. What is valid and visible stays as it is; every byte that is
// not part of valid UTF-8, and every hidden character, becomes a visible escape. The result can be shown as one line,
// and two different inputs are distinguishable in it unless a name spells an escape itself.

#include "ShownText.h"

#include "Utf8.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>

namespace qrx {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

/// The characters that are escaped: the general categories Cc, Cf, Zl, Zp, Co and the noncharacters of Unicode 15,
/// except for the formatting characters of a few scripts (U+0600 and others), which are visible.
constexpr Range kHidden[] = {{0x0000, 0x001F},   // C0
                             {0x007F, 0x009F},   // DEL, C1
                             {0x00AD, 0x00AD},   // soft hyphen
                             {0x061C, 0x061C},   // Arabic letter mark: direction
                             {0x180E, 0x180E},   // Mongolian vowel separator
                             {0x200B, 0x200F},   // zero width, direction marks
                             {0x2028, 0x202E},   // line and paragraph separator, embeddings and overrides of direction
                             {0x2060, 0x206F},   // word joiner, invisible operators, isolates of direction
                             {0xE000, 0xF8FF},   // private use
                             {0xFDD0, 0xFDEF},   // noncharacters
                             {0xFEFF, 0xFEFF},   // byte order mark
                             {0xFFF9, 0xFFFB},   // interlinear annotation
                             {0x1BCA0, 0x1BCA3}, // shorthand format controls
                             {0x1D173, 0x1D17A}, // musical format controls
                             {0xE0000, 0x10FFFF}}; // tags, further variation selectors, private use

bool isHidden(char32_t character)
{
    // The last two of every plane are noncharacters.
    const auto holds = [character](const Range& range) { return character >= range.first && character <= range.last; };
    return (character & 0xFFFEU) == 0xFFFEU || std::any_of(std::begin(kHidden), std::end(kHidden), holds);
}

std::string escape(const char* form, unsigned int number)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), form, number);
    return text.data();
}

} // namespace

std::string shownText(std::string_view text)
{
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        const char32_t character = length == 0 ? 0 : utf8Character(text.substr(0, length));
        // A length of 0 is a byte that begins no valid character; the character 0 stands for it here and is hidden.
        if (length < 2 && isHidden(character)) {
            shown += escape("\\x%02x", static_cast<unsigned char>(text[0]));
        } else if (isHidden(character)) {
            shown += escape("\\u{%x}", character);
        } else {
            shown += text.substr(0, length);
        }
        // After an invalid byte the search goes on with the next one, so a cut-off sequence does not swallow what
        // follows.
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return shown;
}

} // namespace qrx
