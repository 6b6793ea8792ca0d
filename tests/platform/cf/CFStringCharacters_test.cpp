/// Every character through every encoding.

#include "LeakCheck.h"

#include <string>

namespace {

using CFStringCharacters = LeakCheck;

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

/// The text in the encoding; "(none)" where it has no form there.
std::string encoded(const std::string& text, CFStringEncoding encoding)
{
    CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(text.data()),
                                                 static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
    if (string == nullptr) {
        return "(no string)";
    }
    std::string buffer(text.size() + 1, '?');
    const bool fits = CFStringGetCString(string, buffer.data(), static_cast<CFIndex>(buffer.size()), encoding) != 0;
    CFRelease(string);
    return fits ? std::string(buffer.c_str()) : "(none)";
}

TEST_F(CFStringCharacters, EachIsKeptAmongOthers)
{
    constexpr char32_t kPerText = 128;
    for (char32_t first = 0; first < 0x110000; first += kPerText) {
        // So that a text of ASCII alone is not kept as bytes.
        std::string text = "\xC3\xA9";
        for (char32_t character = first; character < first + kPerText; ++character) {
            const bool isSurrogate = character >= 0xD800 && character <= 0xDFFF;
            text += isSurrogate || character == 0 ? "" : utf8(character);
        }
        ASSERT_EQ(encoded(text, kCFStringEncodingUTF8), text) << "from " << static_cast<unsigned int>(first);
    }
}

TEST_F(CFStringCharacters, WhatFollowsABeginningIsBetween80AndBF)
{
    const auto isText = [](const std::string& bytes) {
        CFStringRef string = CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                                     static_cast<CFIndex>(bytes.size()), kCFStringEncodingUTF8, false);
        if (string != nullptr) {
            CFRelease(string);
        }
        return string != nullptr;
    };
    for (const std::string start : {"\xC3", "\xE2\x82", "\xF0\x9F", "\xF0\x9F\x8E"}) {
        const std::string end = start == "\xF0\x9F" ? "\x80" : "";
        EXPECT_TRUE(isText(start + "\x80" + end)) << testing::PrintToString(start);
        EXPECT_TRUE(isText(start + "\xBF" + end)) << testing::PrintToString(start);
        EXPECT_FALSE(isText(start + "\x7F" + end)) << testing::PrintToString(start);
        EXPECT_FALSE(isText(start + "\xC0" + end)) << testing::PrintToString(start);
    }
}

TEST_F(CFStringCharacters, TextThatIsUtf8IsNotAsciiForThat)
{
    const UInt8 bytes[] = {0xC3, 0xA9};
    EXPECT_EQ(CFStringCreateWithBytes(nullptr, bytes, 2, kCFStringEncodingASCII, false), nullptr);
}

TEST_F(CFStringCharacters, OneOfLatin1IsItsNumberAndNoOtherHasAForm)
{
    for (char32_t character = 1; character < 0x400; ++character) {
        const std::string form =
            character <= 0xFF ? std::string(1, static_cast<char>(static_cast<unsigned char>(character))) : "(none)";
        ASSERT_EQ(encoded(utf8(character), kCFStringEncodingISOLatin1), form) << static_cast<unsigned int>(character);
    }
}

TEST_F(CFStringCharacters, InAsciiOnlyTheFirst128HaveAForm)
{
    for (char32_t character = 1; character < 0x400; ++character) {
        const std::string form = character < 0x80 ? std::string(1, static_cast<char>(character)) : "(none)";
        ASSERT_EQ(encoded(utf8(character), kCFStringEncodingASCII), form) << static_cast<unsigned int>(character);
    }
    EXPECT_EQ(encoded("a\xC3\xA9", kCFStringEncodingASCII), "(none)") << "not even beside others";
}

TEST_F(CFStringCharacters, InMacRomanTheControlsAboveAsciiHaveNoForm)
{
    for (char32_t character = 0x80; character < 0xA0; ++character) {
        ASSERT_EQ(encoded(utf8(character), kCFStringEncodingMacRoman), "(none)")
            << static_cast<unsigned int>(character);
    }
    for (char32_t character = 1; character < 0x80; ++character) {
        ASSERT_EQ(encoded(utf8(character) + "\xC3\x84", kCFStringEncodingMacRoman),
                  std::string(1, static_cast<char>(character)) + "\x80")
            << static_cast<unsigned int>(character);
    }
}

} // namespace
