#include "LeakCheck.h"

#include <string>

namespace {

using CFData = LeakCheck;

CFDataRef makeData(const std::string& bytes)
{
    return CFDataCreate(nullptr, reinterpret_cast<const UInt8*>(bytes.data()), static_cast<CFIndex>(bytes.size()));
}

TEST_F(CFData, TheBytesAreCopied)
{
    std::string bytes("\x01\x00\xFF", 3);
    CFDataRef data = makeData(bytes);
    bytes.assign("xxx");
    ASSERT_EQ(CFDataGetLength(data), 3);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(CFDataGetBytePtr(data)), 3), std::string("\x01\x00\xFF", 3));
    CFRelease(data);
}

TEST_F(CFData, MayBeOneByte)
{
    const UInt8 byte = 0x5A;
    CFDataRef data = CFDataCreate(nullptr, &byte, 1);
    ASSERT_EQ(CFDataGetLength(data), 1);
    EXPECT_EQ(*CFDataGetBytePtr(data), 0x5A);
    CFRelease(data);
}

TEST_F(CFData, MayBeEmpty)
{
    CFDataRef data = CFDataCreate(nullptr, nullptr, 0);
    EXPECT_EQ(CFDataGetLength(data), 0);
    CFRelease(data);
}

TEST_F(CFData, EqualityIsByContent)
{
    CFDataRef a = makeData(std::string("a\0b", 3));
    CFDataRef same = makeData(std::string("a\0b", 3));
    CFDataRef other = makeData(std::string("a\0c", 3));
    EXPECT_TRUE(CFEqual(a, same));
    EXPECT_EQ(CFHash(a), CFHash(same));
    EXPECT_FALSE(CFEqual(a, other));
    for (CFDataRef data : {a, same, other}) {
        CFRelease(data);
    }
}

using CFDataDeathTest = CFData;

TEST_F(CFDataDeathTest, WhatIsNoDataEndsTheProcess)
{
    EXPECT_DEATH(CFDataGetLength(nullptr), "CFDataGetLength: null instead of a data object");
    EXPECT_DEATH(CFDataGetBytePtr(reinterpret_cast<CFDataRef>(CFSTR("x"))), "a string instead of a data object");
    EXPECT_DEATH(CFDataCreate(nullptr, nullptr, 1), "CFDataCreate: null instead of bytes");
}

} // namespace
