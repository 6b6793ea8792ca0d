#include "Linux/sysfs/SysfsText.h"

#include <gtest/gtest.h>

namespace qrx::platform {
namespace {

constexpr const char* kBroken = "\xEF\xBF\xBD";

TEST(Utf8Text, LosesExactlyOneNewline)
{
    EXPECT_EQ(utf8Text("Mouse\n"), "Mouse");
    EXPECT_EQ(utf8Text("Mouse\n\n"), "Mouse\n");
    EXPECT_EQ(utf8Text("Mouse"), "Mouse");
    EXPECT_EQ(utf8Text("\n"), "");
    EXPECT_EQ(utf8Text(""), "");
    EXPECT_EQ(utf8Text(" Mouse \n"), " Mouse ");
}

TEST(Utf8Text, EndsAtAZeroByte)
{
    EXPECT_EQ(utf8Text(std::string_view("Mo\0use\n", 7)), "Mo");
}

TEST(Utf8Text, KeepsEveryLengthOfCharacter)
{
    EXPECT_EQ(utf8Text("Pr\xC3\xB8ve \xE5\x8C\x97 \xF0\x9F\x8E\xB9\n"), "Pr\xC3\xB8ve \xE5\x8C\x97 \xF0\x9F\x8E\xB9");
}

TEST(Utf8Text, ReplacesEachByteThatBelongsToNoCharacter)
{
    const std::string broken = kBroken;
    EXPECT_EQ(utf8Text("a\xFFz"), "a" + broken + "z");
    EXPECT_EQ(utf8Text("a\x80z"), "a" + broken + "z");
    EXPECT_EQ(utf8Text("\xC3"), broken);
    EXPECT_EQ(utf8Text("\xE5\x8Cz"), broken + broken + "z");
    EXPECT_EQ(utf8Text("\xC0\xAF"), broken + broken) << "overlong";
    EXPECT_EQ(utf8Text("\xE0\x80\x80"), broken + broken + broken) << "overlong";
    EXPECT_EQ(utf8Text("\xED\xA0\x80"), broken + broken + broken) << "surrogate";
    EXPECT_EQ(utf8Text("\xF4\x90\x80\x80"), broken + broken + broken + broken) << "above U+10FFFF";
    EXPECT_EQ(utf8Text("\xF0\x8F\xBF\xBF"), broken + broken + broken + broken) << "overlong";
}

TEST(Numbers, AreReadWithBlanksAroundThem)
{
    EXPECT_EQ(hexNumber("046d\n", 0xFFFF), 0x046dU);
    EXPECT_EQ(decimalNumber(" 0\n", 255), 0U);
    EXPECT_EQ(decimalNumber("12", 255), 12U);
}

TEST(Numbers, AreRefusedIfAnythingElseIsThere)
{
    EXPECT_FALSE(hexNumber("", 0xFFFF));
    EXPECT_FALSE(hexNumber("\n", 0xFFFF));
    EXPECT_FALSE(hexNumber("xyz", 0xFFFF));
    EXPECT_FALSE(hexNumber("12 34", 0xFFFF));
    EXPECT_FALSE(hexNumber("-1", 0xFFFF));
    EXPECT_FALSE(hexNumber("10000", 0xFFFF));
    EXPECT_FALSE(decimalNumber("99999999999999999999", 255));
}

TEST(SpeedNumber, FollowsTheMegabits)
{
    EXPECT_EQ(speedNumber("1.5\n"), 0);
    EXPECT_EQ(speedNumber("12\n"), 1);
    EXPECT_EQ(speedNumber("480\n"), 2);
    EXPECT_EQ(speedNumber("5000\n"), 3);
    EXPECT_EQ(speedNumber("20000\n"), 3);
    EXPECT_EQ(speedNumber("unknown\n"), 1);
    EXPECT_EQ(speedNumber(""), 1);
}

} // namespace
} // namespace qrx::platform
