#include "LeakCheck.h"

#include <limits>
#include <string>
#include <vector>

namespace {

using CFString = LeakCheck;

constexpr CFStringEncoding kAllEncodings[] = {kCFStringEncodingUTF8, kCFStringEncodingASCII, kCFStringEncodingMacRoman,
                                              kCFStringEncodingISOLatin1};

CFStringRef makeBytes(const std::string& bytes, CFStringEncoding encoding)
{
    return CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>(bytes.data()),
                                   static_cast<CFIndex>(bytes.size()), encoding, false);
}

/// The text in the encoding; "(null)" where it cannot be had. Gives the string up.
std::string textOf(CFStringRef string, CFStringEncoding encoding = kCFStringEncodingUTF8)
{
    if (string == nullptr) {
        return "(no string)";
    }
    char buffer[64] = {};
    const bool fits = CFStringGetCString(string, buffer, sizeof buffer, encoding) != 0;
    CFRelease(string);
    return fits ? buffer : "(null)";
}

TEST_F(CFString, LengthCountsUtf16Units)
{
    const struct {
        const char* text;
        CFIndex length;
    } rows[] = {{"", 0}, {"plain", 5}, {"\xC3\xA9t\xC3\xA9", 3}, {"\xE2\x82\xAC", 1}, {"a\xF0\x9F\x8E\xAE", 3}};
    for (const auto& row : rows) {
        CFStringRef string = makeString(row.text);
        EXPECT_EQ(CFStringGetLength(string), row.length) << row.text;
        CFRelease(string);
    }
}

TEST_F(CFString, AByteOrderMarkBeforeUtf8IsDropped)
{
    const std::string mark = "\xEF\xBB\xBF";
    const struct {
        std::string bytes;
        std::string text;
        CFIndex length;
    } rows[] = {{mark, "", 0},
                {mark + "plain", "plain", 5},
                {mark + "\xC3\xA9", "\xC3\xA9", 1},
                {mark + mark, mark, 1},
                {"a" + mark, "a" + mark, 2}};
    for (const auto& row : rows) {
        CFStringRef string = makeBytes(row.bytes, kCFStringEncodingUTF8);
        ASSERT_NE(string, nullptr) << testing::PrintToString(row.bytes);
        EXPECT_EQ(CFStringGetLength(string), row.length) << testing::PrintToString(row.bytes);
        EXPECT_EQ(textOf(string), row.text);
    }
    CFStringRef marked = makeBytes(mark + "plain", kCFStringEncodingUTF8);
    EXPECT_TRUE(CFEqual(marked, CFSTR("plain")));
    EXPECT_EQ(CFHash(marked), CFHash(CFSTR("plain")));
    CFRelease(marked);
    EXPECT_EQ(CFSTR("\xEF\xBB\xBFmarked"), CFSTR("marked"));
    EXPECT_EQ(textOf(makeBytes("\xEF\xBB\xBF", kCFStringEncodingISOLatin1)), "\xC3\xAF\xC2\xBB\xC2\xBF");
}

// Cases whose name begins with OurChoice differ from one implementation of the platform or another.

TEST_F(CFString, OurChoiceIsThatInvalidUtf8MakesNoString)
{
    const std::string rows[] = {"\x80",         // a following byte alone
                                "a\xC3",        // cut off
                                "\xE2\x82",     // cut off
                                "\xF0\x9F\x8E", // cut off
                                "\xC0\x80",
                                "\xC1\xBF",         // overlong
                                "\xE0\x9F\xBF",     // overlong
                                "\xF0\x8F\xBF\xBF", // overlong
                                "\xED\xA0\x80",     // a surrogate
                                "\xED\xBF\xBF",     // a surrogate
                                "\xF4\x90\x80\x80", // above U+10FFFF
                                "\xF5\x80\x80\x80", // above U+10FFFF
                                "\xC3(",            // a lead without its follower
                                "\xFF"};
    for (const std::string& bytes : rows) {
        EXPECT_EQ(makeBytes(bytes, kCFStringEncodingUTF8), nullptr) << testing::PrintToString(bytes);
        EXPECT_EQ(makeString(bytes.c_str()), nullptr) << testing::PrintToString(bytes);
    }
}

TEST_F(CFString, TheEdgesOfUtf8AreKept)
{
    for (const char* text : {"\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBF",
                             "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {
        EXPECT_EQ(textOf(makeString(text)), text);
    }
}

TEST_F(CFString, OurChoiceIsThatAsciiRefusesHighBytes)
{
    EXPECT_EQ(makeBytes("caf\xE9", kCFStringEncodingASCII), nullptr);
    EXPECT_EQ(textOf(makeBytes("cafe", kCFStringEncodingASCII)), "cafe");
}

TEST_F(CFString, EveryByteIsACharacterInMacRomanAndLatin1)
{
    std::string all;
    for (int byte = 1; byte < 256; ++byte) {
        all.push_back(static_cast<char>(byte));
    }
    for (const CFStringEncoding encoding : {kCFStringEncodingMacRoman, kCFStringEncodingISOLatin1}) {
        CFStringRef string = makeBytes(all, encoding);
        ASSERT_NE(string, nullptr);
        EXPECT_EQ(CFStringGetLength(string), 255);
        char buffer[256];
        EXPECT_TRUE(CFStringGetCString(string, buffer, sizeof buffer, encoding));
        EXPECT_EQ(std::string(buffer), all) << "back in encoding " << encoding;
        CFRelease(string);
    }
}

TEST_F(CFString, MacRomanIsDecodedByItsOwnTable)
{
    EXPECT_EQ(textOf(makeBytes("\x80", kCFStringEncodingMacRoman)), "\xC3\x84");     // A with diaeresis
    EXPECT_EQ(textOf(makeBytes("\x8E", kCFStringEncodingMacRoman)), "\xC3\xA9");     // e with acute
    EXPECT_EQ(textOf(makeBytes("\xAA", kCFStringEncodingMacRoman)), "\xE2\x84\xA2"); // trade mark
    EXPECT_EQ(textOf(makeBytes("\xDB", kCFStringEncodingMacRoman)), "\xE2\x82\xAC"); // euro
    EXPECT_EQ(textOf(makeBytes("\xFF", kCFStringEncodingMacRoman)), "\xCB\x87");     // caron
    EXPECT_EQ(textOf(makeBytes("\xE9", kCFStringEncodingISOLatin1)), "\xC3\xA9");
}

TEST_F(CFString, AnUnknownEncodingMakesNoString)
{
    constexpr CFStringEncoding kUtf16 = 0x0100;
    EXPECT_EQ(CFStringCreateWithCString(nullptr, "text", kUtf16), nullptr);
    EXPECT_EQ(textOf(makeString("text"), kUtf16), "(null)");
    EXPECT_EQ(CFStringGetCStringPtr(CFSTR("text"), kUtf16), nullptr);
}

TEST_F(CFString, AsciiTextIsHeldAsBytes)
{
    CFStringRef string = makeString("USB Device");
    for (const CFStringEncoding encoding : kAllEncodings) {
        const char* bytes = CFStringGetCStringPtr(string, encoding);
        ASSERT_NE(bytes, nullptr) << encoding;
        EXPECT_STREQ(bytes, "USB Device");
        EXPECT_EQ(bytes, CFStringGetCStringPtr(string, kCFStringEncodingUTF8)) << "the string's own bytes";
    }
    CFRelease(string);
}

TEST_F(CFString, OurChoiceIsThatOtherTextIsLentAsUtf8)
{
    CFStringRef string = makeString("Ger\xC3\xA4t \xF0\x9F\x8E\xAE");
    EXPECT_STREQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), "Ger\xC3\xA4t \xF0\x9F\x8E\xAE");
    for (const CFStringEncoding encoding :
         {kCFStringEncodingASCII, kCFStringEncodingMacRoman, kCFStringEncodingISOLatin1}) {
        EXPECT_EQ(CFStringGetCStringPtr(string, encoding), nullptr) << encoding;
    }
    CFRelease(string);
}

TEST_F(CFString, ABufferMustHoldTheTerminator)
{
    char buffer[5];
    EXPECT_TRUE(CFStringGetCString(CFSTR("four"), buffer, 5, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "four");
    EXPECT_TRUE(CFStringGetCString(CFSTR("\xC3\xA9\xC3\xA9"), buffer, 5, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "\xC3\xA9\xC3\xA9");
    EXPECT_TRUE(CFStringGetCString(CFSTR(""), buffer, 1, kCFStringEncodingUTF8));
    EXPECT_STREQ(buffer, "");
}

TEST_F(CFString, OurChoiceIsThatATooSmallBufferIsLeftAloneByTextHeldAsBytes)
{
    char buffer[4] = {'k', 'e', 'p', 't'};
    EXPECT_FALSE(CFStringGetCString(CFSTR("four"), buffer, 4, kCFStringEncodingUTF8));
    EXPECT_EQ(std::string(buffer, 4), "kept");
}

TEST_F(CFString, ATooSmallBufferIsEmptiedByOtherText)
{
    char buffer[4] = {'k', 'e', 'p', 't'};
    EXPECT_FALSE(CFStringGetCString(CFSTR("\xC3\xA9\xC3\xA9"), buffer, 4, kCFStringEncodingUTF8));
    EXPECT_EQ(buffer[0], '\0');
}

TEST_F(CFString, ABufferOfNoBytesIsNotTouched)
{
    char buffer = 'k';
    EXPECT_FALSE(CFStringGetCString(CFSTR("\xC3\xA9"), &buffer, 0, kCFStringEncodingUTF8));
    EXPECT_FALSE(CFStringGetCString(CFSTR(""), &buffer, 0, kCFStringEncodingUTF8));
    EXPECT_FALSE(CFStringGetCString(CFSTR(""), &buffer, -1, kCFStringEncodingUTF8));
    EXPECT_EQ(buffer, 'k');
}

TEST_F(CFString, TextWithoutAFormInTheEncodingIsRefused)
{
    EXPECT_EQ(textOf(makeString("\xE2\x82\xAC"), kCFStringEncodingISOLatin1), "(null)");
    EXPECT_EQ(textOf(makeString("\xC3\xA9"), kCFStringEncodingASCII), "(null)");
    EXPECT_EQ(textOf(makeString("\xE2\x82\xAC"), kCFStringEncodingMacRoman), "\xDB");
    EXPECT_EQ(textOf(makeString("\xE6\xBC\xA2"), kCFStringEncodingMacRoman), "(null)");
    EXPECT_EQ(textOf(makeString("\xC3\xA9"), kCFStringEncodingISOLatin1), "\xE9");
}

TEST_F(CFString, AnEmbeddedZeroIsStored)
{
    CFStringRef string = makeBytes(std::string("a\0b", 3), kCFStringEncodingUTF8);
    EXPECT_EQ(CFStringGetLength(string), 3);
    EXPECT_STREQ(CFStringGetCStringPtr(string, kCFStringEncodingUTF8), "a");
    EXPECT_FALSE(CFEqual(string, CFSTR("a")));
    CFRelease(string);
}

TEST_F(CFString, TheMaximumSizeIsEnoughForAnyText)
{
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingUTF8), 30);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(10, kCFStringEncodingMacRoman), 10);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(0, kCFStringEncodingASCII), 0);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(std::numeric_limits<CFIndex>::max() / 3 + 1, kCFStringEncodingUTF8),
              kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(std::numeric_limits<CFIndex>::max(), kCFStringEncodingASCII),
              std::numeric_limits<CFIndex>::max());
}

TEST_F(CFString, OurChoiceIsThatALiteralIsTheConstantThatWasThereBeforeIt)
{
    EXPECT_EQ(CFSTR("LiteralTwice"), CFSTR("LiteralTwice"));
    const CFStringRef early = __CFStringMakeConstantString("MadeBeforeItsLiteral");
    EXPECT_EQ(CFSTR("MadeBeforeItsLiteral"), early);
    const CFStringRef wide = __CFStringMakeConstantString("\xC3\x89t\xC3\xA9");
    EXPECT_EQ(CFSTR("\xC3\x89t\xC3\xA9"), wide);
    EXPECT_EQ(CFStringGetLength(CFSTR("")), 0);
}

TEST_F(CFString, OurChoiceIsThatAConstantIsOneObjectForEachText)
{
    const std::string text = std::string("One") + "Object";
    EXPECT_EQ(CFSTR("OneObject"), CFSTR("OneObject"));
    EXPECT_EQ(__CFStringMakeConstantString(text.c_str()), CFSTR("OneObject"));
    EXPECT_NE(CFSTR("OneObject"), CFSTR("AnotherObject"));
    EXPECT_EQ(CFStringGetLength(CFSTR("\xC3\xA9")), 1);
    EXPECT_EQ(CFSTR("\xC3\xA9"), CFSTR("\xC3\xA9"));
}

TEST_F(CFString, EqualityIsByContent)
{
    const std::vector<std::string> texts = {"", "a", "b", "ab", "\xC3\xA9", "\xC3\xA8", "e\xCC\x81"};
    for (const auto& first : texts) {
        for (const auto& second : texts) {
            CFStringRef a = makeString(first.c_str());
            CFStringRef b = makeString(second.c_str());
            EXPECT_EQ(CFEqual(a, b) != 0, first == second) << first << " and " << second;
            EXPECT_EQ(CFEqual(a, __CFStringMakeConstantString(second.c_str())) != 0, first == second);
            if (first == second) {
                EXPECT_EQ(CFHash(a), CFHash(b));
            }
            CFRelease(a);
            CFRelease(b);
        }
    }
}

TEST_F(CFString, TheSameTextFromDifferentEncodingsIsEqual)
{
    CFStringRef utf8 = makeString("\xC3\xA9");
    CFStringRef roman = makeBytes("\x8E", kCFStringEncodingMacRoman);
    CFStringRef latin = makeBytes("\xE9", kCFStringEncodingISOLatin1);
    EXPECT_TRUE(CFEqual(utf8, roman));
    EXPECT_TRUE(CFEqual(utf8, latin));
    for (CFStringRef string : {utf8, roman, latin}) {
        CFRelease(string);
    }
}

using CFStringDeathTest = CFString;

TEST_F(CFStringDeathTest, WhatIsNoStringEndsTheProcess)
{
    char buffer[4];
    EXPECT_DEATH(CFStringGetLength(nullptr), "CFStringGetLength: null instead of a string");
    EXPECT_DEATH(CFStringGetCStringPtr(nullptr, kCFStringEncodingUTF8), "CFStringGetCStringPtr: null");
    EXPECT_DEATH(CFStringGetCString(nullptr, buffer, 4, kCFStringEncodingUTF8), "CFStringGetCString: null");
    EXPECT_DEATH(CFStringGetCString(CFSTR("x"), nullptr, 4, kCFStringEncodingUTF8), "null instead of a buffer");
    EXPECT_DEATH(CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8), "null instead of text");
    EXPECT_DEATH(__CFStringMakeConstantString("\xFF"), "not valid UTF-8");
}

} // namespace
