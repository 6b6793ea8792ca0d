/// Numbers, texts and hashes at their limits.

#include "LeakCheck.h"

#include <bit>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>

namespace {

using ValuesAtLimits = LeakCheck;

CFNumberRef makeReal(double value)
{
    return CFNumberCreate(nullptr, kCFNumberDoubleType, &value);
}

/// Releases both.
bool areEqual(CFTypeRef first, CFTypeRef second)
{
    const bool result = CFEqual(first, second) != 0;
    EXPECT_EQ(result, CFEqual(second, first) != 0) << "whichever comes first";
    if (result) {
        EXPECT_EQ(CFHash(first), CFHash(second));
    }
    CFRelease(first);
    CFRelease(second);
    return result;
}

bool haveOneHash(CFTypeRef first, CFTypeRef second)
{
    const bool result = CFHash(first) == CFHash(second);
    CFRelease(first);
    CFRelease(second);
    return result;
}

TEST_F(ValuesAtLimits, ARealIsEqualToTheIntegerThatItIsUpToTheLargestOnes)
{
    EXPECT_TRUE(areEqual(makeReal(-9223372036854775808.0), makeNumber(INT64_MIN)));
    EXPECT_FALSE(areEqual(makeReal(9223372036854775808.0), makeNumber(INT64_MAX)));
    EXPECT_FALSE(areEqual(makeReal(-9223372036854777856.0), makeNumber(INT64_MIN))) << "the next one below";
    EXPECT_FALSE(areEqual(makeReal(-1e30), makeReal(-2e30)));
    EXPECT_FALSE(areEqual(makeReal(1e30), makeReal(2e30)));
    EXPECT_TRUE(areEqual(makeReal(-0.0), makeNumber(0)));
    EXPECT_FALSE(areEqual(makeReal(0.5), makeNumber(0)));
    const double infinity = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(areEqual(makeReal(infinity), makeReal(infinity)));
    EXPECT_FALSE(areEqual(makeReal(infinity), makeReal(-infinity)));
}

TEST_F(ValuesAtLimits, AnyTwoNaNsAreEqualAndHaveOneHash)
{
    const auto other = std::bit_cast<double>(std::uint64_t{0xFFF8000000000123});
    EXPECT_TRUE(areEqual(makeReal(std::numeric_limits<double>::quiet_NaN()), makeReal(other)));
    EXPECT_FALSE(areEqual(makeReal(other), makeReal(1)));
    EXPECT_FALSE(areEqual(makeReal(other), makeReal(1.5)));
}

TEST_F(ValuesAtLimits, DictionariesOfObjectsAndOfPlainPointersAreNotEqual)
{
    const void* keys[] = {CFSTR("a")};
    const void* values[] = {CFSTR("x")};
    const auto with = [&](const CFDictionaryKeyCallBacks* ofKeys, const CFDictionaryValueCallBacks* ofValues) {
        return CFDictionaryCreate(nullptr, keys, values, 1, ofKeys, ofValues);
    };
    EXPECT_FALSE(areEqual(with(&kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks),
                          with(&kCFTypeDictionaryKeyCallBacks, nullptr)));
    EXPECT_FALSE(areEqual(with(&kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks),
                          with(nullptr, &kCFTypeDictionaryValueCallBacks)));
    EXPECT_TRUE(areEqual(with(nullptr, nullptr), with(nullptr, nullptr)));
}

TEST_F(ValuesAtLimits, AKeyWithoutAValueIsNotAMissingKey)
{
    const auto with = [](CFStringRef key, const void* value) {
        const void* keys[] = {key};
        const void* values[] = {value};
        return CFDictionaryCreate(nullptr, keys, values, 1, &kCFTypeDictionaryKeyCallBacks, nullptr);
    };
    EXPECT_FALSE(areEqual(with(CFSTR("a"), nullptr), with(CFSTR("b"), nullptr)));
    EXPECT_TRUE(areEqual(with(CFSTR("a"), nullptr), with(CFSTR("a"), nullptr)));
    const int number = 1;
    EXPECT_FALSE(areEqual(with(CFSTR("a"), &number), with(CFSTR("a"), nullptr)));
}

TEST_F(ValuesAtLimits, DifferentValuesHaveDifferentHashes)
{
    EXPECT_FALSE(haveOneHash(makeNumber(1), makeNumber(2)));
    EXPECT_FALSE(haveOneHash(makeReal(1.5), makeReal(2.5)));
    EXPECT_FALSE(haveOneHash(makeReal(0.5), makeReal(std::numeric_limits<double>::quiet_NaN())));
    EXPECT_FALSE(haveOneHash(makeString("one"), makeString("two")));
    EXPECT_FALSE(haveOneHash(makeString("\xC3\xA9"), makeString("\xC3\xA8")));
    const UInt8 bytes[] = {1, 2};
    EXPECT_FALSE(haveOneHash(CFDataCreate(nullptr, bytes, 1), CFDataCreate(nullptr, bytes, 2)));
}

TEST_F(ValuesAtLimits, EveryPlaneOfUnicodeIsKept)
{
    for (const char* text : {"\xF1\x80\x80\x80", "\xF2\x80\x80\x81", "\xF3\xBF\xBF\xBF", "\xF0\x9F\x8E\xB9"}) {
        CFStringRef string = makeString(text);
        ASSERT_NE(string, nullptr);
        EXPECT_EQ(CFStringGetLength(string), 2);
        char buffer[8];
        EXPECT_TRUE(CFStringGetCString(string, buffer, sizeof buffer, kCFStringEncodingUTF8));
        EXPECT_STREQ(buffer, text);
        CFRelease(string);
    }
}

TEST_F(ValuesAtLimits, AByteThatIsNoLeadBeginsNoText)
{
    for (const std::string lead : {"\x80", "\xBF", "\xC0", "\xC1", "\xF5", "\xFF"}) {
        for (const char* rest : {"\x80", "\x90\x80", "\x90\x80\x80"}) {
            EXPECT_EQ(makeString((lead + rest).c_str()), nullptr) << rest;
        }
    }
}

TEST_F(ValuesAtLimits, ANegativeLengthHasNoMaximumSize)
{
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(-1, kCFStringEncodingUTF8), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(-5, kCFStringEncodingASCII), kCFNotFound);
    EXPECT_EQ(CFStringGetMaximumSizeForEncoding(std::numeric_limits<CFIndex>::max() / 3, kCFStringEncodingUTF8),
              std::numeric_limits<CFIndex>::max() / 3 * 3);
}

TEST_F(ValuesAtLimits, WhatIsNoNumberIsExactInEveryRealType)
{
    CFNumberRef number = makeReal(std::numeric_limits<double>::quiet_NaN());
    float narrow = 0;
    double wide = 0;
    SInt32 whole = 7;
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat32Type, &narrow));
    EXPECT_TRUE(CFNumberGetValue(number, kCFNumberFloat64Type, &wide));
    EXPECT_FALSE(CFNumberGetValue(number, kCFNumberSInt32Type, &whole));
    EXPECT_NE(narrow, narrow);
    EXPECT_NE(wide, wide);
    EXPECT_EQ(whole, 0);
    CFRelease(number);
}

TEST_F(ValuesAtLimits, TextThatEndsWithinACharacterIsNoText)
{
    const UInt8 bytes[] = {0xE2, 0x82, 0xAC, 0xF0, 0x9F, 0x8E, 0xB9};
    for (const auto& [start, length] : {std::pair(0, 1), {0, 2}, {3, 1}, {3, 2}, {3, 3}}) {
        EXPECT_EQ(CFStringCreateWithBytes(nullptr, bytes + start, length, kCFStringEncodingUTF8, false), nullptr);
    }
    CFStringRef whole = CFStringCreateWithBytes(nullptr, bytes, 7, kCFStringEncodingUTF8, false);
    ASSERT_NE(whole, nullptr);
    EXPECT_EQ(CFStringGetLength(whole), 3);
    CFRelease(whole);
}

using ValuesAtLimitsDeathTest = ValuesAtLimits;

TEST_F(ValuesAtLimitsDeathTest, ADictionaryOfNoKeysOrANegativeCountEndsTheProcess)
{
    const void* one[] = {CFSTR("one")};
    const auto create = [](const void** keys, const void** values, CFIndex count) {
        return CFDictionaryCreate(nullptr, keys, values, count, &kCFTypeDictionaryKeyCallBacks,
                                  &kCFTypeDictionaryValueCallBacks);
    };
    EXPECT_DEATH(create(nullptr, one, 1), "CFDictionaryCreate: null instead of keys or values");
    EXPECT_DEATH(create(one, nullptr, 1), "CFDictionaryCreate: null instead of keys or values");
    EXPECT_DEATH(create(one, one, -1), "a negative count");
    const void* none[] = {nullptr};
    EXPECT_DEATH(create(none, one, 1), "CFDictionaryCreate: null instead of an object");
    EXPECT_DEATH(create(one, none, 1), "CFDictionaryCreate: null instead of an object");
    CFRelease(create(nullptr, nullptr, 0));
}

TEST_F(ValuesAtLimitsDeathTest, AnArrayOrTextOfNothingOrANegativeCountEndsTheProcess)
{
    const void* one[] = {CFSTR("one")};
    const UInt8 byte = 'x';
    EXPECT_DEATH(CFArrayCreate(nullptr, one, -1, &kCFTypeArrayCallBacks), "CFArrayCreate: null instead of values");
    EXPECT_DEATH(CFArrayCreate(nullptr, nullptr, 1, &kCFTypeArrayCallBacks), "CFArrayCreate: null instead of values");
    EXPECT_DEATH(CFStringCreateWithBytes(nullptr, &byte, -1, kCFStringEncodingUTF8, false),
                 "CFStringCreateWithBytes: null instead of bytes");
    EXPECT_DEATH(CFStringCreateWithBytes(nullptr, nullptr, 1, kCFStringEncodingUTF8, false),
                 "CFStringCreateWithBytes: null instead of bytes");
    CFRelease(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks));
    EXPECT_DEATH(__CFStringMakeConstantString(nullptr), "CFSTR: null instead of text");
}

TEST_F(ValuesAtLimitsDeathTest, WhatIsNoSourceIsInNoLoop)
{
    auto* text = const_cast<void*>(static_cast<const void*>(CFSTR("text")));
    EXPECT_DEATH(
        CFRunLoopContainsSource(CFRunLoopGetCurrent(), static_cast<CFRunLoopSourceRef>(text), kCFRunLoopDefaultMode),
        "CFRunLoopContainsSource: a string instead of a run loop source");
}

} // namespace
