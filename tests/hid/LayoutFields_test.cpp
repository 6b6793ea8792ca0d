// What a layout keeps of each field, which usage has which place, and which numbers fit where.

#include "HID/ReportLayout.h"

#include "DescriptorText.h"

#include <gtest/gtest.h>

#include <array>

namespace qrx::hid {
namespace {

ReportLayout layoutOf(std::string_view items)
{
    return ReportLayout(
        parseReportDescriptor(bytesOf("05 01 09 04 A1 01 15 00 25 01 75 08 95 01 " + std::string(items) + " C0")));
}

/// The result of writing one value of usage 1:30 into an output report of 9 bytes, in which it is at bit 0.
EncodeResult written(const ReportLayout& layout, std::int64_t value)
{
    std::array<std::uint8_t, 9> report{};
    const UsageValue one{0x10030, value};
    return layout.encode(ReportType::output, 0, std::span(&one, 1), report);
}

TEST(LayoutFields, PositionsAreCountedOverAllUsagesOfAField)
{
    // 9:1-3, then 1:30, then 9:7-8, for eight values of which the last two have no name.
    const ReportLayout layout = layoutOf("95 08 05 09 19 01 29 03 0B 30 00 01 00 19 07 29 08 81 02");
    ASSERT_EQ(layout.fields().size(), 1U);
    const LayoutField& field = layout.fields()[0];
    EXPECT_EQ(field.usageCount, 6U);
    EXPECT_EQ(field.firstPositions, (std::vector<std::uint64_t>{0, 3, 4}));
    const std::uint32_t usages[] = {0x90001, 0x90002, 0x90003, 0x10030, 0x90007, 0x90008};
    for (std::size_t position = 0; position < 6; ++position) {
        EXPECT_EQ(field.usageAt(position), usages[position]) << position;
        EXPECT_EQ(field.positionOf(usages[position]), position) << position;
    }
    for (const std::uint32_t other : {0x90000U, 0x90004U, 0x90006U, 0x90009U, 0x1002FU, 0x10031U}) {
        EXPECT_EQ(field.positionOf(other), std::nullopt) << std::hex << other;
    }
}

TEST(LayoutFields, AUsageThatIsThereTwiceHasTheFirstPosition)
{
    const ReportLayout layout = layoutOf("95 03 09 30 09 31 09 30 81 02");
    EXPECT_EQ(layout.fields()[0].positionOf(0x10030), 0U);
}

TEST(LayoutFields, EachValueTellsThePositionOfItsUsage)
{
    const ReportLayout layout = layoutOf("95 06 19 30 29 31 09 34 19 38 29 38 81 02");
    ReportValues values;
    layout.decode(ReportType::input, bytesOf("01 02 03 04 05 06"), values);
    std::vector<std::uint64_t> positions;
    std::vector<std::uint32_t> usages;
    for (const ReportValue& value : values.values()) {
        positions.push_back(value.usagePosition);
        usages.push_back(value.usage & 0xFFFF);
    }
    EXPECT_EQ(positions, (std::vector<std::uint64_t>{0, 1, 2, 3, 3, 3}));
    EXPECT_EQ(usages, (std::vector<std::uint32_t>{0x30, 0x31, 0x34, 0x38, 0x38, 0x38}));
}

TEST(LayoutFields, ASelectionTellsThePositionOfItsUsage)
{
    const ReportLayout layout = layoutOf("95 02 25 03 05 09 19 01 29 02 19 05 29 06 81 00");
    ReportValues values;
    layout.decode(ReportType::input, bytesOf("02 01"), values);
    ASSERT_EQ(values.values().size(), 2U);
    EXPECT_EQ(values.values()[0].usage, 0x90005U);
    EXPECT_EQ(values.values()[0].usagePosition, 2U);
    EXPECT_EQ(values.values()[1].usagePosition, 1U);
}

TEST(LayoutFields, PaddingIsNoField)
{
    EXPECT_EQ(layoutOf("81 01 09 30 81 02 81 02 95 00 09 31 81 02").fields().size(), 1U);
}

TEST(LayoutFields, ReportsWhoseNumberFitsNoByteAreLeftOut)
{
    const ReportLayout layout = layoutOf("85 FF 09 30 81 02 86 00 01 09 31 81 02");
    ASSERT_EQ(layout.fields().size(), 1U);
    EXPECT_EQ(layout.fields()[0].reportID, 255U);
    ASSERT_EQ(layout.reports().size(), 1U);
    EXPECT_EQ(layout.reports()[0].id, 255U);
}

TEST(LayoutFields, AReportWithoutBitsIsNone)
{
    EXPECT_EQ(layoutOf("85 01 09 30 81 02 85 02 95 00 09 31 81 02").reports().size(), 1U);
}

TEST(LayoutFields, ReportsComeByTypeAndNumberEachWithItsFields)
{
    const ReportLayout layout = layoutOf("85 03 09 30 81 02 09 31 91 02 85 01 09 32 B1 02 09 33 81 02 09 34 81 02");
    std::string text;
    for (const ReportLayout::DeclaredReport& report : layout.reports()) {
        text += std::to_string(static_cast<int>(report.type)) + ":" + std::to_string(report.id) + " " +
                std::to_string(report.bits) + " [" + std::to_string(report.firstField) + ", " +
                std::to_string(report.endField) + ") ";
    }
    EXPECT_EQ(text, "0:1 24 [0, 2) 0:3 16 [2, 3) 1:3 16 [3, 4) 2:1 16 [4, 5) ");
}

TEST(LayoutFields, ABitIsOnOrOffWhateverItsRange)
{
    const ReportLayout bit = layoutOf("75 01 15 FF 25 00 35 05 45 09 09 30 81 02 75 07 81 01");
    const LayoutField& field = bit.fields()[0];
    EXPECT_FALSE(field.isSigned);
    EXPECT_EQ(field.logicalMinimum, 0);
    EXPECT_EQ(field.logicalMaximum, 1);
    EXPECT_EQ(field.physicalMinimum, 0);
    EXPECT_EQ(field.physicalMaximum, 1);
}

TEST(LayoutFields, AnArrayOfSingleBitsCountsFromItsMinimum)
{
    const ReportLayout layout = layoutOf("75 01 15 01 25 01 05 09 09 05 81 00 75 07 81 01");
    ReportValues values;
    layout.decode(ReportType::input, bytesOf("00"), values);
    EXPECT_TRUE(values.values().empty());
    layout.decode(ReportType::input, bytesOf("01"), values);
    ASSERT_EQ(values.values().size(), 1U);
    EXPECT_EQ(values.values()[0].usage, 0x90005U);
}

TEST(LayoutFields, AnArrayMeasuresNothingAndHasNoPhysicalRange)
{
    const ReportLayout layout = layoutOf("15 01 25 03 35 0A 45 1E 55 02 65 11 05 09 19 01 29 03 81 00 "
                                         "09 30 81 02");
    ASSERT_EQ(layout.fields().size(), 2U);
    EXPECT_EQ(layout.fields()[0].physicalMaximum, 3);
    EXPECT_EQ(layout.fields()[0].unit, 0U);
    EXPECT_EQ(layout.fields()[0].unitExponent, 0);
    EXPECT_EQ(layout.fields()[1].physicalMinimum, 10);
    EXPECT_EQ(layout.fields()[1].physicalMaximum, 30);
    EXPECT_EQ(layout.fields()[1].unit, 0x11U);
    EXPECT_EQ(layout.fields()[1].unitExponent, 2);
}

/// A field of this size with a null state, so that every number that fits may be written.
ReportLayout nullable(const std::string& sizeHex, const std::string& range)
{
    return layoutOf(range + " 75 " + sizeHex + " 09 30 91 42");
}

TEST(LayoutWidths, ASignedFieldTakesWhatItsBitsHold)
{
    const ReportLayout byte = nullable("08", "15 FF 25 01");
    EXPECT_EQ(written(byte, 127), EncodeResult::done);
    EXPECT_EQ(written(byte, 128), EncodeResult::outOfRange);
    EXPECT_EQ(written(byte, -128), EncodeResult::done);
    EXPECT_EQ(written(byte, -129), EncodeResult::outOfRange);
    const ReportLayout wide = nullable("3F", "15 FF 25 01");
    constexpr std::int64_t kTop = std::int64_t{1} << 62;
    EXPECT_EQ(written(wide, kTop - 1), EncodeResult::done);
    EXPECT_EQ(written(wide, kTop), EncodeResult::outOfRange);
    EXPECT_EQ(written(wide, -kTop), EncodeResult::done);
    EXPECT_EQ(written(wide, -kTop - 1), EncodeResult::outOfRange);
}

TEST(LayoutWidths, AnUnsignedFieldTakesWhatItsBitsHold)
{
    const ReportLayout byte = nullable("08", "15 00 25 01");
    EXPECT_EQ(written(byte, 255), EncodeResult::done);
    EXPECT_EQ(written(byte, 256), EncodeResult::outOfRange);
    EXPECT_EQ(written(byte, -1), EncodeResult::outOfRange);
    const ReportLayout wide = nullable("3F", "15 00 25 01");
    EXPECT_EQ(written(wide, INT64_MAX), EncodeResult::done);
    EXPECT_EQ(written(wide, -1), EncodeResult::outOfRange);
}

TEST(LayoutWidths, AFieldOfMoreThan64BitsCannotBeWritten)
{
    EXPECT_EQ(written(nullable("41", "15 00 25 01"), 1), EncodeResult::noSuchUsage);
}

TEST(LayoutWidths, AFieldOf64BitsTakesEveryNumberOfItsSign)
{
    const ReportLayout withSign = nullable("40", "15 FF 25 01");
    EXPECT_EQ(written(withSign, INT64_MIN), EncodeResult::done);
    EXPECT_EQ(written(withSign, INT64_MAX), EncodeResult::done);
    const ReportLayout without = nullable("40", "15 00 25 01");
    EXPECT_EQ(written(without, INT64_MAX), EncodeResult::done);
    EXPECT_EQ(written(without, -1), EncodeResult::outOfRange);
}

} // namespace
} // namespace qrx::hid
