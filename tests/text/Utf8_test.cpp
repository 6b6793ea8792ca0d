#include "Text/Utf8.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace qrx {
namespace {

/// What the bit patterns of RFC 3629 make of the first bytes; 0 where they are no character.
std::size_t lengthByTheBits(const std::string& bytes, char32_t& character)
{
    constexpr struct {
        unsigned int mask;
        unsigned int pattern;
        char32_t first;
        char32_t last;
    } kForms[] = {{0x80, 0x00, 0x0, 0x7F},
                  {0xE0, 0xC0, 0x80, 0x7FF},
                  {0xF0, 0xE0, 0x800, 0xFFFF},
                  {0xF8, 0xF0, 0x10000, 0x10FFFF}};
    std::size_t length = 0;
    for (const auto& form : kForms) {
        ++length;
        if (bytes.size() < length || (static_cast<unsigned char>(bytes[0]) & form.mask) != form.pattern) {
            continue;
        }
        character = static_cast<unsigned char>(bytes[0]) & ~form.mask & 0xFF;
        bool isWhole = true;
        for (std::size_t at = 1; at < length; ++at) {
            const auto byte = static_cast<unsigned char>(bytes[at]);
            isWhole = isWhole && (byte & 0xC0) == 0x80;
            character = character << 6 | (byte & 0x3FU);
        }
        const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
        return isWhole && character >= form.first && character <= form.last && !isSurrogate ? length : 0;
    }
    return 0;
}

void expectByTheBits(const std::string& bytes)
{
    char32_t character = 0;
    const std::size_t length = lengthByTheBits(bytes, character);
    ASSERT_EQ(utf8Length(bytes), length) << testing::PrintToString(bytes);
    if (length != 0) {
        ASSERT_EQ(utf8Character(bytes.substr(0, length)), character) << testing::PrintToString(bytes);
    }
}

std::string bytesOf(std::initializer_list<unsigned int> values)
{
    std::string bytes;
    for (const unsigned int value : values) {
        bytes += static_cast<char>(static_cast<unsigned char>(value));
    }
    return bytes;
}

/// The first and the last byte that may follow, and their neighbours.
constexpr unsigned int kEdges[] = {0x7F, 0x80, 0xBF, 0xC0};

TEST(Utf8, NoBytesAreNoCharacter)
{
    EXPECT_EQ(utf8Length(""), 0U);
}

TEST(Utf8, EveryPairOfBytesIsWhatTheBitsSay)
{
    for (unsigned int first = 0; first < 256; ++first) {
        expectByTheBits(bytesOf({first}));
        for (unsigned int second = 0; second < 256; ++second) {
            expectByTheBits(bytesOf({first, second}));
        }
    }
}

TEST(Utf8, EveryBeginningWithTheEdgesOfTheRestIsWhatTheBitsSay)
{
    for (unsigned int first = 0xC0; first < 256; ++first) {
        for (unsigned int second = 0; second < 256; ++second) {
            for (const unsigned int third : kEdges) {
                expectByTheBits(bytesOf({first, second, third}));
                for (const unsigned int fourth : kEdges) {
                    expectByTheBits(bytesOf({first, second, third, fourth}));
                }
            }
        }
    }
}

TEST(Utf8, WhatFollowsACharacterDoesNotMatter)
{
    EXPECT_EQ(utf8Length("ab"), 1U);
    EXPECT_EQ(utf8Length("\xC3\xA9\xFF"), 2U);
    EXPECT_EQ(utf8Length("\xE2\x82\xAC\xFF"), 3U);
    EXPECT_EQ(utf8Length("\xF0\x9F\x8E\xAE\xFF"), 4U);
}

} // namespace
} // namespace qrx
