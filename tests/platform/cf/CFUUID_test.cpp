#include "LeakCheck.h"

namespace {

using CFUUID = LeakCheck;

CFUUIDRef uuidEndingIn(UInt8 last)
{
    return CFUUIDGetConstantUUIDWithBytes(nullptr, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, last);
}

TEST_F(CFUUID, ThereIsOneObjectForEachValue)
{
    EXPECT_EQ(uuidEndingIn(16), uuidEndingIn(16));
    EXPECT_NE(uuidEndingIn(16), uuidEndingIn(17));
    EXPECT_TRUE(CFEqual(uuidEndingIn(16), uuidEndingIn(16)));
    EXPECT_FALSE(CFEqual(uuidEndingIn(16), uuidEndingIn(17)));
    EXPECT_EQ(CFHash(uuidEndingIn(16)), CFHash(uuidEndingIn(16)));
}

TEST_F(CFUUID, TheBytesComeBackInOrder)
{
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(uuidEndingIn(0xFF));
    EXPECT_EQ(bytes.byte0, 1);
    EXPECT_EQ(bytes.byte7, 8);
    EXPECT_EQ(bytes.byte8, 9);
    EXPECT_EQ(bytes.byte14, 15);
    EXPECT_EQ(bytes.byte15, 0xFF);
}

using CFUUIDDeathTest = CFUUID;

TEST_F(CFUUIDDeathTest, NullEndsTheProcess)
{
    EXPECT_DEATH(CFUUIDGetUUIDBytes(nullptr), "CFUUIDGetUUIDBytes: null instead of a UUID");
}

} // namespace
