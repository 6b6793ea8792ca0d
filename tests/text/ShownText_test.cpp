#include "Text/ShownText.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace qrx::platform {
namespace {

/// UTF-8 of a character, surrogates and all.
std::string utf8(char32_t character)
{
    const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
    const auto further = [&](unsigned int shift) { return byte(0x80U | ((character >> shift) & 0x3FU)); };
    if (character < 0x80) {
        return {byte(character)};
    }
    if (character < 0x800) {
        return {byte(0xC0U | (character >> 6U)), further(0)};
    }
    if (character < 0x10000) {
        return {byte(0xE0U | (character >> 12U)), further(6), further(0)};
    }
    return {byte(0xF0U | (character >> 18U)), further(12), further(6), further(0)};
}

std::string numberText(const char* form, unsigned int number)
{
    char text[16];
    std::snprintf(text, sizeof text, form, number);
    return text;
}

void expectEscaped(char32_t first, char32_t last)
{
    for (char32_t character = first; character <= last; ++character) {
        EXPECT_EQ(shownText("a" + utf8(character) + "b"), "a" + numberText("\\u{%x}", character) + "b");
    }
}

void expectKept(const std::string& text)
{
    EXPECT_EQ(shownText(text), text);
}

TEST(ShownText, KeepsWhatCanBeRead)
{
    expectKept("");
    expectKept("Wheel Mouse (rev. 2), \"quoted\" \\ 100 %");
    expectKept("Pr\xC3\xB8ve \xE5\x8C\x97 \xF0\x9F\x8E\xB9");
    // Right-to-left by nature, and a character joined of several.
    expectKept("\xD7\xA2\xD7\x9B\xD7\x91\xD7\xA8 e\xCC\x81 \xEF\xBF\xBD");
    constexpr char32_t kKept[] = {0x20,   0x7E,   0xA0,   0xAC,   0xAE,   0x61B,   0x200A,
                                  0x2010, 0x2027, 0x202F, 0x205F, 0x2070, 0xD7FF,  0xF900,
                                  0xFDCF, 0xFDF0, 0xFEFE, 0xFF00, 0xFFFC, 0x10000, 0x3FFFD};
    for (const char32_t character : kKept) {
        expectKept(utf8(character));
    }
}

TEST(ShownText, EscapesAsciiControlCharacters)
{
    for (unsigned int code = 0; code < 0x20; ++code) {
        EXPECT_EQ(shownText(std::string("a") + static_cast<char>(code) + "b"), "a" + numberText("\\x%02x", code) + "b");
    }
    EXPECT_EQ(shownText("\x7F"), "\\x7f");
    EXPECT_EQ(shownText("\x1b[2J\x1b]0;title\x07"), "\\x1b[2J\\x1b]0;title\\x07");
}

TEST(ShownText, EscapesLineEndsOfEveryKind)
{
    EXPECT_EQ(shownText("a\nb\rc\r\nd"), "a\\x0ab\\x0dc\\x0d\\x0ad");
    EXPECT_EQ(shownText("a\xC2\x85z"), "a\\u{85}z");
    EXPECT_EQ(shownText("a\xE2\x80\xA8z\xE2\x80\xA9"), "a\\u{2028}z\\u{2029}");
}

TEST(ShownText, EscapesTheUpperControlCharacters)
{
    expectEscaped(0x80, 0x9F);
}

TEST(ShownText, EscapesWhatChangesTheDirection)
{
    expectEscaped(0x061C, 0x061C);
    expectEscaped(0x200E, 0x200F);
    expectEscaped(0x202A, 0x202E);
    expectEscaped(0x2066, 0x2069);
}

TEST(ShownText, EscapesWhatIsInvisible)
{
    expectEscaped(0xAD, 0xAD);
    expectEscaped(0x180E, 0x180E);
    expectEscaped(0x200B, 0x200D);
    expectEscaped(0x2060, 0x2064);
    expectEscaped(0x206A, 0x206F);
    expectEscaped(0xFEFF, 0xFEFF);
    expectEscaped(0xFFF9, 0xFFFB);
    expectEscaped(0xE0001, 0xE007F);
}

TEST(ShownText, EscapesWhatHasNoMeaningOfItsOwn)
{
    for (const auto& [first, last] : std::vector<std::pair<char32_t, char32_t>>{{0xE000, 0xE001},
                                                                                {0xF8FE, 0xF8FF},
                                                                                {0xF0000, 0xF0001},
                                                                                {0x10FFFC, 0x10FFFF}, // private use
                                                                                {0xFDD0, 0xFDEF},
                                                                                {0xFFFE, 0xFFFF},
                                                                                {0x1FFFE, 0x1FFFF},
                                                                                {0x3FFFE, 0x3FFFF}}) { // noncharacters
        expectEscaped(first, last);
    }
}

TEST(ShownText, EscapesEachByteThatBelongsToNoCharacter)
{
    EXPECT_EQ(shownText("a\xFFz"), "a\\xffz");
    EXPECT_EQ(shownText("a\x80z"), "a\\x80z");
    EXPECT_EQ(shownText("a\x9B"
                        "31mz"),
              "a\\x9b31mz")
        << "the one-byte form of the terminal's ESC [";
    EXPECT_EQ(shownText("\xC3"), "\\xc3") << "cut off";
    EXPECT_EQ(shownText("\xE5\x8Cz"), "\\xe5\\x8cz") << "cut off";
    EXPECT_EQ(shownText("\xC0\x9B"), "\\xc0\\x9b") << "overlong";
    EXPECT_EQ(shownText("\xE0\x80\x9B"), "\\xe0\\x80\\x9b") << "overlong";
    EXPECT_EQ(shownText(utf8(0xD800)), "\\xed\\xa0\\x80") << "half of a pair";
    EXPECT_EQ(shownText(utf8(0xDFFF)), "\\xed\\xbf\\xbf") << "half of a pair";
    EXPECT_EQ(shownText("\xF4\x90\x80\x80"), "\\xf4\\x90\\x80\\x80") << "above U+10FFFF";
}

TEST(ShownText, LeavesAFilteredTextAsItIs)
{
    std::string all;
    for (char32_t character = 0; character < 0x10FFFF; character += 0x7F) {
        all += utf8(character);
    }
    for (unsigned int byte = 0; byte < 0x100; ++byte) {
        all += static_cast<char>(byte);
    }
    expectKept(shownText(all));
}

} // namespace
} // namespace qrx::platform
