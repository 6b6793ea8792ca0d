#include "CoreFoundation/SystemVersion.h"

#include <CoreServices/CoreServices.h>

#include <gtest/gtest.h>

namespace {

class GestaltVersion : public testing::Test {
protected:
    void TearDown() override { qrx::platform::setSystemVersion(std::nullopt); }
};

TEST_F(GestaltVersion, ThereIsNoneAndTheAnswerIsLeftAlone)
{
    SInt32 version = 42;
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), gestaltUndefSelectorErr);
    EXPECT_EQ(version, 42);
}

TEST_F(GestaltVersion, ASetVersionIsAnsweredUntilItIsTakenBack)
{
    SInt32 version = 0;
    qrx::platform::setSystemVersion(0x1068);
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), noErr);
    EXPECT_EQ(version, 0x1068);
    qrx::platform::setSystemVersion(std::nullopt);
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), gestaltUndefSelectorErr);
    EXPECT_EQ(version, 0x1068);
}

TEST_F(GestaltVersion, AVersionOf0IsAVersion)
{
    SInt32 version = 42;
    qrx::platform::setSystemVersion(0);
    EXPECT_EQ(Gestalt(gestaltSystemVersion, &version), noErr);
    EXPECT_EQ(version, 0);
}

TEST_F(GestaltVersion, AnotherSelectorIsUnknown)
{
    SInt32 answer = 42;
    qrx::platform::setSystemVersion(0x1068);
    EXPECT_EQ(Gestalt(static_cast<OSType>(0x73797331), &answer), gestaltUndefSelectorErr);
    EXPECT_EQ(answer, 42);
}

} // namespace
