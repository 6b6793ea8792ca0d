// What the bytes of a report mean, and how values become bytes.

#include "HID/ReportLayout.h"

#include "DescriptorText.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace qrx::hid {
namespace {

ReportLayout layoutOf(std::string_view hex)
{
    return ReportLayout(parseReportDescriptor(bytesOf(hex)));
}

/// One line per value: "9:2 = 1 at 1*1"; then "null", "shown" where it is so. The usage is in hexadecimal.
std::string text(const ReportValues& values)
{
    std::ostringstream out;
    for (const ReportValue& value : values.values()) {
        out << std::hex << (value.usage >> 16) << ':' << (value.usage & 0xFFFF) << std::dec << " = ";
        if (value.isSigned) {
            out << value.value;
        } else {
            out << static_cast<std::uint64_t>(value.value);
        }
        out << " at " << value.bitOffset << '*' << value.sizeBits << (value.isNull ? " null" : "")
            << (value.isSelection ? " shown" : "") << '\n';
    }
    return out.str();
}

std::string decoded(const ReportLayout& layout, std::string_view hex, ReportType type = ReportType::input)
{
    ReportValues values;
    layout.decode(type, bytesOf(hex), values);
    return text(values);
}

/// The bytes after writing into `bytes`, or "refused N at P" with the number of the result and the failed position.
std::string encoded(const ReportLayout& layout, std::string_view bytes, const std::vector<UsageValue>& values,
                    std::uint32_t id = 0)
{
    std::vector<std::uint8_t> report = bytesOf(bytes);
    const std::vector<std::uint8_t> before = report;
    std::size_t failed = 99;
    const EncodeResult result = layout.encode(ReportType::output, id, values, report, &failed);
    if (result == EncodeResult::done) {
        return hexOf(report);
    }
    EXPECT_EQ(report, before) << "a refused writing changes nothing";
    return "refused " + std::to_string(static_cast<int>(result)) + " at " + std::to_string(failed);
}

/// An application collection of generic-desktop usages around the items; Report Count 1 of one size.
std::string field(std::string_view logical, std::string_view sizeHex, std::string_view rest)
{
    return "05 01 09 04 A1 01 " + std::string(logical) + " 75 " + std::string(sizeHex) + " 95 01 " + std::string(rest) +
           " C0";
}

constexpr std::uint32_t kX = 0x10030;
constexpr std::uint32_t kY = 0x10031;
constexpr std::uint32_t kLed = 0x80000;
constexpr std::uint32_t kKey = 0x70000;

// Five LEDs of one bit (8:1 to 8:5), three bits of padding, then an array of three keys (7:0 to 7:65), as output.
constexpr const char* kPanel = "05 01 09 06 A1 01 "
                               "05 08 19 01 29 05 15 00 25 01 75 01 95 05 91 02 "
                               "75 03 95 01 91 01 "
                               "05 07 19 00 29 65 15 00 25 65 75 08 95 03 91 00 C0";

// --- reading -----------------------------------------------------------------------------------------------------

TEST(ReportLayout, AMouseReportGivesButtonsAndSignedAxes)
{
    // Buttons 9:1-3 of 1 bit, 5 bits of padding, X, Y, wheel of 8 bits, -127 to 127.
    const ReportLayout mouse =
        layoutOf("05 01 09 02 A1 01 09 01 A1 00 05 09 19 01 29 03 15 00 25 01 95 03 75 01 81 02 "
                 "95 01 75 05 81 01 05 01 09 30 09 31 09 38 15 81 25 7F 75 08 95 03 81 06 C0 C0");
    EXPECT_EQ(decoded(mouse, "05 FF 02 80"), "9:1 = 1 at 0*1\n9:2 = 0 at 1*1\n9:3 = 1 at 2*1\n"
                                             "1:30 = -1 at 8*8\n1:31 = 2 at 16*8\n1:38 = -128 at 24*8\n");
}

TEST(ReportLayout, ASignedFieldOfAnyWidthIsSignExtended)
{
    EXPECT_EQ(decoded(layoutOf(field("15 FF 25 00", "02", "09 30 81 02")), "03"), "1:30 = -1 at 0*2\n");
    EXPECT_EQ(decoded(layoutOf(field("15 FF 25 00", "1F", "09 30 81 02")), "FF FF FF 7F"), "1:30 = -1 at 0*31\n");
    EXPECT_EQ(decoded(layoutOf(field("15 FF 25 00", "20", "09 30 81 02")), "FE FF FF FF"), "1:30 = -2 at 0*32\n");
    EXPECT_EQ(decoded(layoutOf(field("15 FF 25 00", "21", "09 30 81 02")), "FF FF FF FF 01"), "1:30 = -1 at 0*33\n");
    EXPECT_EQ(decoded(layoutOf(field("15 FF 25 00", "3F", "09 30 81 02")), "FF FF FF FF FF FF FF 7F"),
              "1:30 = -1 at 0*63\n");
    EXPECT_EQ(decoded(layoutOf(field("15 FF 25 00", "40", "09 30 81 02")), "FD FF FF FF FF FF FF FF"),
              "1:30 = -3 at 0*64\n");
}

TEST(ReportLayout, AnUnsignedFieldOfAnyWidthIsNotNegative)
{
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 01", "01", "09 30 81 02")), "01"), "1:30 = 1 at 0*1\n");
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 7F", "1F", "09 30 81 02")), "FF FF FF FF"),
              "1:30 = 2147483647 at 0*31\n");
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 7F", "20", "09 30 81 02")), "FF FF FF FF"),
              "1:30 = 4294967295 at 0*32\n");
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 7F", "21", "09 30 81 02")), "FF FF FF FF FF"),
              "1:30 = 8589934591 at 0*33\n");
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 7F", "3F", "09 30 81 02")), "FF FF FF FF FF FF FF FF"),
              "1:30 = 9223372036854775807 at 0*63\n");
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 7F", "40", "09 30 81 02")), "FF FF FF FF FF FF FF FF"),
              "1:30 = 18446744073709551615 at 0*64\n");
}

TEST(ReportLayout, AValueOfMoreThan64BitsIsLeftOut)
{
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 7F", "41", "09 30 81 02")), "01 02 03 04 05 06 07 08 09"), "");
}

TEST(ReportLayout, AValueMayBeginAtAnyBitAndEndInTheNinthByte)
{
    // 3 bits of padding, then 64 bits.
    const ReportLayout layout =
        layoutOf("05 01 09 04 A1 01 75 03 95 01 81 01 15 00 25 7F 75 40 09 30 81 02 75 05 81 01 C0");
    EXPECT_EQ(decoded(layout, "08 00 00 00 00 00 00 00 04"), "1:30 = 9223372036854775809 at 3*64\n");
}

TEST(ReportLayout, TheNumberOfANumberedReportIsCountedInThePlace)
{
    const ReportLayout layout =
        layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 01 85 02 09 30 81 02 85 03 09 31 81 02 C0");
    EXPECT_TRUE(layout.numbersReports());
    EXPECT_EQ(decoded(layout, "02 07"), "1:30 = 7 at 8*8\n");
    EXPECT_EQ(decoded(layout, "03 08"), "1:31 = 8 at 8*8\n");
    EXPECT_EQ(decoded(layout, "04 08"), "") << "a number that is not declared";
    EXPECT_EQ(decoded(layout, "02 07", ReportType::output), "") << "a type that is not declared";
    EXPECT_EQ(decoded(layout, ""), "");
}

TEST(ReportLayout, AReportThatIsTooShortGivesWhatItHolds)
{
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 03 09 30 09 31 09 32 81 02 C0");
    EXPECT_EQ(decoded(layout, "01 02"), "1:30 = 1 at 0*8\n1:31 = 2 at 8*8\n");
    EXPECT_EQ(decoded(layout, "01 02 03 04"), "1:30 = 1 at 0*8\n1:31 = 2 at 8*8\n1:32 = 3 at 16*8\n");
}

TEST(ReportLayout, TheLastUsageStandsForTheValuesThatFollow)
{
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 03 09 30 09 31 81 02 C0");
    EXPECT_EQ(decoded(layout, "01 02 03"), "1:30 = 1 at 0*8\n1:31 = 2 at 8*8\n1:31 = 3 at 16*8\n");
}

TEST(ReportLayout, ValuesBeyondARangeOfUsagesHaveNoName)
{
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 03 19 30 29 31 81 02 C0");
    EXPECT_EQ(decoded(layout, "01 02 03"), "1:30 = 1 at 0*8\n1:31 = 2 at 8*8\n");
}

TEST(ReportLayout, BitsBeyondTheUsagesHaveNoName)
{
    const ReportLayout layout =
        layoutOf("05 09 09 04 A1 01 15 00 25 01 75 01 95 04 09 01 09 02 81 02 75 04 95 01 81 01 C0");
    EXPECT_EQ(decoded(layout, "0F"), "9:1 = 1 at 0*1\n9:2 = 1 at 1*1\n");
}

TEST(ReportLayout, UsagesBeyondTheCountHaveNoPlace)
{
    const ReportLayout layout =
        layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 02 19 30 29 35 81 02 09 36 95 01 81 02 C0");
    EXPECT_EQ(decoded(layout, "01 02 03"), "1:30 = 1 at 0*8\n1:31 = 2 at 8*8\n1:36 = 3 at 16*8\n");
    ASSERT_EQ(layout.fields().size(), 2U);
    EXPECT_EQ(layout.fields()[0].count, 2U);
    EXPECT_EQ(layout.fields()[0].usageCount, 6U);
}

TEST(ReportLayout, AValueOutsideTheRangeOfAFieldWithANullStateIsNone)
{
    // A hat switch: 1 to 8 in 4 bits, null state.
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 01 25 08 75 04 95 01 09 39 81 42 95 01 81 01 C0");
    EXPECT_EQ(decoded(layout, "01"), "1:39 = 1 at 0*4\n");
    EXPECT_EQ(decoded(layout, "08"), "1:39 = 8 at 0*4\n");
    EXPECT_EQ(decoded(layout, "00"), "1:39 = 0 at 0*4 null\n");
    EXPECT_EQ(decoded(layout, "09"), "1:39 = 9 at 0*4 null\n");
}

TEST(ReportLayout, WithoutANullStateNoValueIsNone)
{
    EXPECT_EQ(decoded(layoutOf(field("15 01 25 08", "08", "09 39 81 02")), "09"), "1:39 = 9 at 0*8\n");
}

TEST(ReportLayout, AnUnsignedValueOf64OnesIsOutsideOfItsRange)
{
    EXPECT_EQ(decoded(layoutOf(field("15 00 25 7F", "40", "09 30 81 42")), "FF FF FF FF FF FF FF FF"),
              "1:30 = 18446744073709551615 at 0*64 null\n");
}

TEST(ReportLayout, AnArrayShowsEachUsageOnceAtItsFirstEntry)
{
    EXPECT_EQ(decoded(layoutOf(kPanel), "00 05 04 05", ReportType::output),
              "8:1 = 0 at 0*1\n8:2 = 0 at 1*1\n8:3 = 0 at 2*1\n8:4 = 0 at 3*1\n8:5 = 0 at 4*1\n"
              "7:5 = 1 at 8*8 shown\n7:4 = 1 at 16*8 shown\n");
}

TEST(ReportLayout, AnEntryThatNamesNothingIsNotListed)
{
    // 0 is the usage 0, 0x66 is beyond the last.
    EXPECT_EQ(decoded(layoutOf(kPanel), "00 00 66 FF", ReportType::output),
              "8:1 = 0 at 0*1\n8:2 = 0 at 1*1\n8:3 = 0 at 2*1\n8:4 = 0 at 3*1\n8:5 = 0 at 4*1\n");
}

TEST(ReportLayout, AnArrayCountsFromItsLogicalMinimum)
{
    // Usages 9:1-3, shown by 5 to 7; then by -1 to 1.
    const ReportLayout five = layoutOf("05 09 09 04 A1 01 15 05 25 07 75 08 95 01 19 01 29 03 81 00 C0");
    EXPECT_EQ(decoded(five, "04"), "");
    EXPECT_EQ(decoded(five, "05"), "9:1 = 1 at 0*8 shown\n");
    EXPECT_EQ(decoded(five, "07"), "9:3 = 1 at 0*8 shown\n");
    EXPECT_EQ(decoded(five, "08"), "");
    const ReportLayout below = layoutOf("05 09 09 04 A1 01 15 FF 25 01 75 08 95 01 19 01 29 03 81 00 C0");
    EXPECT_EQ(decoded(below, "FF"), "9:1 = 1 at 0*8 shown\n");
    EXPECT_EQ(decoded(below, "01"), "9:3 = 1 at 0*8 shown\n");
    EXPECT_EQ(decoded(below, "FE"), "");
}

TEST(ReportLayout, WhatAnArrayShowsIsAnUnsignedOneThatIsNotNull)
{
    // The entries are signed, and have a null state.
    const ReportLayout layout = layoutOf("05 09 09 04 A1 01 15 FF 25 01 75 08 95 01 19 01 29 03 81 40 C0");
    ReportValues values;
    layout.decode(ReportType::input, bytesOf("FF"), values);
    ASSERT_EQ(values.values().size(), 1U);
    const ReportValue& shown = values.values().front();
    EXPECT_TRUE(shown.isSelection);
    EXPECT_EQ(shown.value, 1);
    EXPECT_FALSE(shown.isSigned);
    EXPECT_FALSE(shown.isNull);
}

TEST(ReportLayout, AnArrayOf64BitsSurvivesEveryEntry)
{
    // Entries of 64 bits: minimum -1, then 0. The farthest entries overflow a careless subtraction.
    const ReportLayout below = layoutOf("05 09 09 04 A1 01 15 FF 25 01 75 40 95 01 19 01 29 03 81 00 C0");
    EXPECT_EQ(decoded(below, "FF FF FF FF FF FF FF 7F"), "");
    EXPECT_EQ(decoded(below, "00 00 00 00 00 00 00 80"), "");
    EXPECT_EQ(decoded(below, "01 00 00 00 00 00 00 00"), "9:3 = 1 at 0*64 shown\n");
    const ReportLayout zero = layoutOf("05 09 09 04 A1 01 15 00 25 02 75 40 95 01 19 01 29 03 81 00 C0");
    EXPECT_EQ(decoded(zero, "FF FF FF FF FF FF FF FF"), "");
    EXPECT_EQ(decoded(zero, "02 00 00 00 00 00 00 00"), "9:3 = 1 at 0*64 shown\n");
}

TEST(ReportLayout, ConstantFieldsAreKeptButNotRead)
{
    // A constant field that has a usage.
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 01 09 30 81 03 09 31 81 02 C0");
    ASSERT_EQ(layout.fields().size(), 2U);
    EXPECT_TRUE(layout.fields()[0].isConstant());
    EXPECT_EQ(decoded(layout, "01 02"), "1:31 = 2 at 8*8\n");
}

TEST(ReportLayout, SeveralReportsAndTypesAreKeptApart)
{
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 01 85 03 09 30 81 02 09 31 91 02 "
                                         "85 02 09 32 81 02 95 02 09 33 B1 02 C0");
    EXPECT_EQ(layout.fieldsOf(ReportType::input, 3).size(), 1U);
    EXPECT_EQ(layout.fieldsOf(ReportType::input, 2)[0].usageAt(0), 0x10032U);
    EXPECT_EQ(layout.fieldsOf(ReportType::output, 2).size(), 0U);
    EXPECT_EQ(layout.reportBits(ReportType::feature, 2), 24U);
    EXPECT_EQ(layout.reportBits(ReportType::feature, 3), 0U);
    EXPECT_EQ(decoded(layout, "02 01 02", ReportType::feature), "1:33 = 1 at 8*8\n1:33 = 2 at 16*8\n");
}

TEST(ReportLayout, MemoryOfAnEarlierReportShowsNoValuesOfIt)
{
    const ReportLayout layout = layoutOf(kPanel);
    ReportValues values;
    layout.decode(ReportType::output, bytesOf("1F 04 05 06"), values);
    ASSERT_EQ(values.values().size(), 8U);
    layout.decode(ReportType::output, bytesOf("00"), values);
    EXPECT_EQ(values.values().size(), 5U);
    layout.decode(ReportType::input, bytesOf("00"), values);
    EXPECT_TRUE(values.values().empty());
}

// --- writing -----------------------------------------------------------------------------------------------------

TEST(ReportLayout, WhatIsNotNamedStaysAsItIs)
{
    const ReportLayout layout = layoutOf(kPanel);
    EXPECT_EQ(encoded(layout, "00 00 00 00", {{kLed + 2, 1}}), "02 00 00 00");
    EXPECT_EQ(encoded(layout, "11 0A 0B 0C", {{kLed + 2, 1}, {kLed + 1, 0}}), "12 0a 0b 0c");
}

TEST(ReportLayout, PaddingBecomesZero)
{
    EXPECT_EQ(encoded(layoutOf(kPanel), "FF 0A 0B 0C", {{kLed + 2, 0}}), "1d 0a 0b 0c");
    // 128 bits without a name of their own, between constant bytes.
    const ReportLayout wide = layoutOf("05 01 09 04 A1 01 15 00 25 01 75 08 95 01 91 01 75 80 09 30 91 02 75 07 91 01 "
                                       "75 01 09 31 91 02 C0");
    EXPECT_EQ(encoded(wide, "FF 11 12 13 14 15 16 17 18 21 22 23 24 25 26 27 28 FF", {{kY, 0}}),
              "00 11 12 13 14 15 16 17 18 21 22 23 24 25 26 27 28 00");
}

TEST(ReportLayout, AValueThatBeginsInsideAByteIsWrittenIntoTheNextOne)
{
    // X in 4 bits, Y in 12.
    const ReportLayout layout =
        layoutOf("05 01 09 04 A1 01 15 00 26 FF 0F 75 04 95 01 09 30 91 02 75 0C 09 31 91 02 C0");
    EXPECT_EQ(encoded(layout, "00 00", {{kX, 5}, {kY, 0xABC}}), "c5 ab");
    EXPECT_EQ(encoded(layout, "FF FF", {{kY, 0x123}}), "3f 12");
}

TEST(ReportLayout, AnArrayShowsWhatIsNamedAndNothingElse)
{
    const ReportLayout layout = layoutOf(kPanel);
    EXPECT_EQ(encoded(layout, "00 0A 0B 0C", {{kKey + 9, 1}, {kKey + 4, 1}}), "00 09 04 00");
    EXPECT_EQ(encoded(layout, "00 0A 0B 0C", {{kKey + 9, 0}}), "00 00 00 00");
    EXPECT_EQ(encoded(layout, "00 00 00 00", {{kKey + 9, 1}, {kKey + 9, 1}}), "00 09 00 00");
}

TEST(ReportLayout, MoreSelectionsThanEntriesAreRefused)
{
    EXPECT_EQ(encoded(layoutOf(kPanel), "00 00 00 00", {{kKey + 4, 1}, {kKey + 5, 1}, {kKey + 6, 1}, {kKey + 7, 1}}),
              "refused 5 at 3");
}

TEST(ReportLayout, NothingIsWrittenAsANumberThatNamesNoUsage)
{
    // Usages 9:1-3 by 0 to 2: 3 names none. By 1 to 3: 0 names none. By 0 to 3 in 2 bits: each names one.
    const auto array = [](std::string_view logical, std::string_view size, std::string_view usages) {
        return layoutOf("05 09 09 04 A1 01 " + std::string(logical) + " 75 " + std::string(size) + " 95 02 " +
                        std::string(usages) + " 91 00 C0");
    };
    EXPECT_EQ(encoded(array("15 00 25 02", "08", "19 01 29 03"), "00 00", {{0x90002, 1}}), "01 03");
    EXPECT_EQ(encoded(array("15 01 25 03", "08", "19 01 29 03"), "00 00", {{0x90002, 1}}), "02 00");
    EXPECT_EQ(encoded(array("15 00 25 03", "02", "19 01 29 04"), "00", {{0x90002, 1}}), "refused 5 at 1");
    EXPECT_EQ(encoded(array("15 00 25 03", "02", "19 01 29 04"), "00", {{0x90002, 1}, {0x90003, 1}}), "09");
}

TEST(ReportLayout, AValueOutOfItsRangeIsRefused)
{
    const ReportLayout byte = layoutOf(field("15 00 25 64", "08", "09 30 91 02"));
    EXPECT_EQ(encoded(byte, "00", {{kX, 100}}), "64");
    EXPECT_EQ(encoded(byte, "00", {{kX, 101}}), "refused 4 at 0");
    EXPECT_EQ(encoded(byte, "00", {{kX, -1}}), "refused 4 at 0");
    const ReportLayout signedByte = layoutOf(field("15 81 25 7F", "08", "09 30 91 02"));
    EXPECT_EQ(encoded(signedByte, "00", {{kX, -127}}), "81");
    EXPECT_EQ(encoded(signedByte, "00", {{kX, -128}}), "refused 4 at 0");
}

TEST(ReportLayout, ANullStateIsWrittenAsAnyValueThatFits)
{
    const ReportLayout hat = layoutOf("05 01 09 04 A1 01 15 01 25 08 75 04 95 01 09 39 91 42 91 01 C0");
    EXPECT_EQ(encoded(hat, "05", {{0x10039, 0}}), "00");
    EXPECT_EQ(encoded(hat, "50", {{0x10039, 15}}), "0f");
    EXPECT_EQ(encoded(hat, "50", {{0x10039, 16}}), "refused 4 at 0");
}

TEST(ReportLayout, SeveralValuesOfAUsageAreNamedByTheirIndex)
{
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 08 95 04 09 30 09 31 09 30 91 02 "
                                         "95 01 09 30 91 02 C0");
    EXPECT_EQ(encoded(layout, "00 00 00 00 00", {{kX, 1, 0}, {kX, 2, 1}, {kX, 3, 2}, {kX, 4, 3}, {kY, 5}}),
              "01 05 02 03 04");
    EXPECT_EQ(encoded(layout, "00 00 00 00 00", {{kX, 1, 4}}), "refused 3 at 0");
    EXPECT_EQ(encoded(layout, "00 00 00 00 00", {{kY, 1, 1}}), "refused 3 at 0");
}

TEST(ReportLayout, ANumberedReportBeginsWithItsNumber)
{
    const ReportLayout layout =
        layoutOf("05 01 09 04 A1 01 15 00 26 FF 00 75 0C 95 01 85 02 09 30 91 02 75 04 91 01 C0");
    EXPECT_EQ(encoded(layout, "00 00 00", {{kX, 0xAB}}, 2), "02 ab 00");
    EXPECT_EQ(encoded(layout, "00 00 F0 99", {{kX, 0xAB}}, 2), "02 ab 00 99") << "bytes behind the report stay";
    EXPECT_EQ(encoded(layout, "00 00", {{kX, 0xAB}}, 2), "refused 2 at 99");
    EXPECT_EQ(encoded(layout, "00 00 00", {{kX, 0xAB}}, 3), "refused 1 at 99");
}

TEST(ReportLayout, UsagesWithoutAPlaceCannotBeWritten)
{
    const ReportLayout layout = layoutOf("05 01 09 04 A1 01 15 00 25 64 75 08 95 02 19 30 29 35 91 02 C0");
    EXPECT_EQ(encoded(layout, "00 00", {{kY, 1}}), "00 01");
    EXPECT_EQ(encoded(layout, "00 00", {{0x10032, 1}}), "refused 3 at 0");
}

TEST(ReportLayout, ConstantFieldsCannotBeWritten)
{
    EXPECT_EQ(encoded(layoutOf(field("15 00 25 64", "08", "09 30 91 03")), "00", {{kX, 1}}), "refused 3 at 0");
}

TEST(ReportLayout, WhatIsWrittenIsReadAgain)
{
    for (const char* size : {"01", "07", "08", "1F", "20", "21", "3F", "40"}) {
        const ReportLayout layout = layoutOf("05 01 09 04 A1 01 75 03 95 01 91 01 15 00 25 01 09 30 75 " +
                                             std::string(size) + " 91 02 75 0D 91 01 C0");
        std::vector<std::uint8_t> report(11);
        const UsageValue one{kX, 1};
        ASSERT_EQ(layout.encode(ReportType::output, 0, std::span(&one, 1), report), EncodeResult::done) << size;
        ReportValues values;
        layout.decode(ReportType::output, report, values);
        ASSERT_EQ(values.values().size(), 1U) << size;
        EXPECT_EQ(values.values()[0].value, 1) << size;
        EXPECT_EQ(report[0], 8U) << size;
    }
}

} // namespace
} // namespace qrx::hid
