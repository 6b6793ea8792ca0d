// One test for each item tag of HID 1.11, 6.2.2, and for how tags act together.

#include "DescriptorText.h"

#include <gtest/gtest.h>

namespace qrx::hid {
namespace {

Descriptor read(const std::string& hex)
{
    return parseReportDescriptor(bytesOf(hex));
}

/// `items` inside an application collection on page 1, usage 5, after a range of 0..1 and one field of one bit.
Descriptor inApplication(const std::string& items)
{
    return read("05 01 09 05 A1 01 15 00 25 01 75 01 95 01 " + items + " C0");
}

std::string onlyField(const Descriptor& descriptor)
{
    return descriptor.fields.size() == 1 ? fieldText(descriptor.fields.front()) : fieldsText(descriptor);
}

TEST(MainItems, AnInputOutputAndFeatureItemEachGrowTheReportOfTheirType)
{
    const Descriptor descriptor = inApplication("09 30 81 02 09 31 91 02 09 32 B1 02 09 33 81 02");
    EXPECT_EQ(fieldsText(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0\n"
                                      "output 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31, in 0\n"
                                      "feature 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:32, in 0\n"
                                      "input 0 at 1: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:33, in 0\n");
    EXPECT_EQ(reportsText(descriptor), "input 0: 2 bits\noutput 0: 1 bits\nfeature 0: 1 bits\n");
    EXPECT_EQ(diagnosesText(descriptor), "");
}

TEST(MainItems, AnInputItemKeepsAllNineFlags)
{
    EXPECT_EQ(onlyField(inApplication("09 30 82 FF 01")),
              "input 0 at 0: 1 x 1 bits, flags 1ff, 0..1 (0..0), unit 0^0, usages 1:30, in 0");
}

TEST(MainItems, AnInputItemWithoutDataIsAnArray)
{
    const Descriptor descriptor = inApplication("09 30 80");
    ASSERT_EQ(descriptor.fields.size(), 1U);
    EXPECT_FALSE(descriptor.fields[0].isVariable());
    EXPECT_EQ(descriptor.fields[0].flags, 0U);
}

TEST(MainItems, CollectionsNestAndEndCollectionClosesTheInnermost)
{
    const Descriptor descriptor =
        read("05 01 09 02 A1 01 09 01 A1 00 09 03 A1 02 C0 C0 09 04 A1 05 C0 C0 09 05 A1 01 C0");
    EXPECT_EQ(collectionsText(descriptor), "0 in - type 1 usage 1:2\n"
                                           "1 in 0 type 0 usage 1:1\n"
                                           "2 in 1 type 2 usage 1:3\n"
                                           "3 in 0 type 5 usage 1:4\n"
                                           "4 in - type 1 usage 1:5\n");
    EXPECT_EQ(descriptor.collections[2].depth, 2U);
    EXPECT_EQ(descriptor.collections[2].offset, 12U);
}

TEST(MainItems, ACollectionTakesTheFirstUsageAndAnExtendedOneWithItsPage)
{
    EXPECT_EQ(collectionsText(read("05 01 0B 01 00 0C 00 09 02 A1 01 19 04 29 06 A1 02 C0 C0")),
              "0 in - type 1 usage c:1\n1 in 0 type 2 usage 1:4\n");
}

TEST(MainItems, ACollectionsTypeIsItsLowByteAndMayBeTheVendors)
{
    EXPECT_EQ(collectionsText(read("05 01 09 02 A3 01 02 03 04 09 03 A1 80 C0 C0")),
              "0 in - type 1 usage 1:2\n1 in 0 type 128 usage 1:3\n");
}

TEST(MainItems, AnEndCollectionWithoutCollectionIsAnErrorAndTheRestIsRead)
{
    const Descriptor descriptor = read("C0 05 01 09 02 A1 01 15 00 25 01 75 01 95 01 09 30 81 02 C0");
    EXPECT_EQ(diagnosesText(descriptor), "error at 0, End Collection: no collection is open\n");
    EXPECT_EQ(descriptor.fields.size(), 1U);
}

TEST(MainItems, ACollectionLeftOpenIsAnErrorAtTheEnd)
{
    const Descriptor descriptor = read("05 01 09 02 A1 01 15 00 25 01 75 01 95 01 09 30 81 02");
    EXPECT_EQ(diagnosesText(descriptor), "error at 18, end: collections not closed: 1\n");
    EXPECT_EQ(descriptor.fields.size(), 1U);
}

TEST(MainItems, AFieldOutsideAnyCollectionIsKeptWithAnError)
{
    const Descriptor descriptor = read("05 01 09 30 15 00 25 01 75 01 95 01 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in -");
    EXPECT_EQ(diagnosesText(descriptor), "error at 12, Input: outside any collection\n");
}

TEST(MainItems, AnUnknownMainTagIsSkippedAndEndsTheLocalItems)
{
    const Descriptor descriptor = inApplication("09 30 D0 09 31 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 16, reserved main item: unknown tag, skipped: 13\n");
}

TEST(GlobalItems, AUsagePageIsJoinedWhenTheMainItemIsMet)
{
    const Descriptor descriptor = inApplication("09 30 05 09 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 9:30, in 0");
}

TEST(GlobalItems, AListWrittenOnSeveralPagesKeepsThemFromTheLastUsageOfTheMainItemsPageOn)
{
    const Descriptor descriptor = inApplication("95 03 09 30 05 09 09 01 05 02 09 C4 81 02");
    EXPECT_EQ(onlyField(descriptor),
              "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30 9:1 2:c4, in 0");
}

TEST(GlobalItems, AUsagePageThatDoesNotFit16BitsIsAnError)
{
    EXPECT_EQ(diagnosesText(inApplication("07 01 00 01 00 09 30 81 02")),
              "error at 14, Usage Page: does not fit 16 bits: 65537\n");
}

TEST(GlobalItems, AUsageWithoutAnyUsagePageIsAnErrorOnPage0)
{
    const Descriptor descriptor = read("09 02 A1 01 C0");
    EXPECT_EQ(collectionsText(descriptor), "0 in - type 1 usage 0:2\n");
    EXPECT_EQ(diagnosesText(descriptor), "error at 2, Collection: a usage without a usage page\n"
                                         "error at 5, end: no input, output or feature item\n");
}

TEST(GlobalItems, LogicalMinimumAndMaximumAreSignedInTheirOwnWidth)
{
    EXPECT_EQ(onlyField(inApplication("75 08 15 81 25 7F 09 30 81 02")),
              "input 0 at 0: 1 x 8 bits, flags 2, -127..127 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(onlyField(inApplication("75 10 16 00 80 26 FF 7F 09 30 81 02")),
              "input 0 at 0: 1 x 16 bits, flags 2, -32768..32767 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(onlyField(inApplication("75 20 17 00 00 00 80 27 FF FF FF 7F 09 30 81 02")),
              "input 0 at 0: 1 x 32 bits, flags 2, -2147483648..2147483647 (0..0), unit 0^0, usages 1:30, in 0");
}

TEST(GlobalItems, ALogicalMaximumThatMakesSenseOnlyUnsignedIsUnsigned)
{
    EXPECT_EQ(onlyField(inApplication("75 08 15 00 25 FF 09 30 81 02")),
              "input 0 at 0: 1 x 8 bits, flags 2, 0..255 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(onlyField(inApplication("75 20 27 FF FF FF FF 15 00 09 30 81 02")),
              "input 0 at 0: 1 x 32 bits, flags 2, 0..4294967295 (0..0), unit 0^0, usages 1:30, in 0");
}

TEST(GlobalItems, ALogicalMinimumAboveTheMaximumIsAnErrorAndKept)
{
    const Descriptor descriptor = inApplication("75 08 15 05 25 03 09 30 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 1 x 8 bits, flags 2, 5..3 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "error at 22, Input: logical minimum above logical maximum: 5\n");
}

TEST(GlobalItems, PhysicalMinimumAndMaximumFollowTheSameRule)
{
    EXPECT_EQ(onlyField(inApplication("35 00 45 FF 09 30 81 02")),
              "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..255), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(onlyField(inApplication("35 A6 45 5A 09 30 81 02")),
              "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (-90..90), unit 0^0, usages 1:30, in 0");
}

TEST(GlobalItems, AUnitExponentIsANibbleOrASignedNumber)
{
    const auto exponent = [](const std::string& item) {
        const Descriptor descriptor = inApplication(item + " 09 30 81 02");
        return std::pair(descriptor.fields.at(0).unitExponent, descriptor.fields.at(0).rawUnitExponent);
    };
    EXPECT_EQ(exponent("55 0E"), std::pair(-2, 14));
    EXPECT_EQ(exponent("55 07"), std::pair(7, 7));
    EXPECT_EQ(exponent("55 08"), std::pair(-8, 8));
    EXPECT_EQ(exponent("55 FE"), std::pair(-2, -2));
    EXPECT_EQ(exponent("55 10"), std::pair(16, 16));
    EXPECT_EQ(exponent("54"), std::pair(0, 0));
}

TEST(GlobalItems, AUnitIsKeptAsItsBits)
{
    EXPECT_EQ(onlyField(inApplication("67 21 D1 F0 E1 09 30 81 02")),
              "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit e1f0d121^0, usages 1:30, in 0");
}

TEST(GlobalItems, ReportSizeAndReportCountMultiply)
{
    const Descriptor descriptor = inApplication("75 0A 95 03 09 30 81 02 09 31 81 02");
    EXPECT_EQ(descriptor.fields.at(1).bitOffset, 30U);
    EXPECT_EQ(reportsText(descriptor), "input 0: 60 bits\n");
}

TEST(GlobalItems, AReportSizeOrCountOf0MakesAFieldWithoutBits)
{
    const Descriptor descriptor = inApplication("95 00 09 30 81 02 95 01 09 31 81 02");
    EXPECT_EQ(descriptor.fields.at(1).bitOffset, 0U);
    EXPECT_EQ(diagnosesText(descriptor), "warning at 18, Input: no bits: report size or count is 0\n"
                                         "warning at 18, Input: more usages than fields, fields: 0\n");
}

TEST(GlobalItems, AReportSizeOrCountThatLinuxRefusesIsTold)
{
    EXPECT_EQ(diagnosesText(inApplication("76 01 01 09 30 81 02")),
              "warning at 14, Report Size: more than the 256 bits that Linux accepts: 257\n");
    EXPECT_EQ(diagnosesText(inApplication("96 01 30 09 30 81 02")),
              "warning at 14, Report Count: more than the 12288 fields that Linux accepts: 12289\n");
}

TEST(GlobalItems, AReportSizeAndCountThatWereNeverGivenAreTold)
{
    const Descriptor descriptor = read("05 01 09 05 A1 01 09 30 15 00 25 01 81 02 C0");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 12, Input: report size or count never given\n"
                                         "warning at 12, Input: more usages than fields, fields: 0\n");
}

TEST(GlobalItems, ALogicalMinimumOrMaximumThatWasNeverGivenIsTold)
{
    EXPECT_EQ(diagnosesText(read("05 01 09 05 A1 01 75 01 95 01 25 01 09 30 81 02 C0")),
              "warning at 14, Input: logical minimum or maximum never given\n");
    EXPECT_EQ(diagnosesText(read("05 01 09 05 A1 01 75 01 95 01 15 00 09 30 81 02 C0")),
              "warning at 14, Input: logical minimum or maximum never given\n");
    EXPECT_EQ(diagnosesText(read("05 01 09 05 A1 01 75 01 95 01 15 00 25 01 09 30 81 02 C0")), "");
}

TEST(GlobalItems, EachReportIDHasReportsOfItsOwnAndOneMayBeTakenUpAgain)
{
    const Descriptor descriptor = inApplication("85 03 09 30 81 02 85 01 09 31 81 02 85 03 09 32 81 02 09 33 91 02");
    EXPECT_EQ(fieldsText(descriptor), "input 3 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0\n"
                                      "input 1 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31, in 0\n"
                                      "input 3 at 1: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:32, in 0\n"
                                      "output 3 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:33, in 0\n");
    EXPECT_EQ(descriptor.reportIDs, (std::vector<std::uint32_t>{3, 1}));
    EXPECT_EQ(reportsText(descriptor), "input 3: 2 bits\ninput 1: 1 bits\noutput 3: 1 bits\n");
}

TEST(GlobalItems, AReportIDOf0OrAbove255IsAnError)
{
    const Descriptor zero = inApplication("85 00 09 30 81 02");
    EXPECT_FALSE(zero.usesReportIDs());
    EXPECT_EQ(diagnosesText(zero), "error at 14, Report ID: 0 is reserved\n");

    Descriptor large = inApplication("86 00 01 09 30 81 02");
    EXPECT_EQ(large.fields.at(0).reportID, 256U);
    EXPECT_EQ(diagnosesText(large), "error at 14, Report ID: does not fit a byte, such a report cannot travel: 256\n");
    const ElementTree tree = buildElementTree(large);
    EXPECT_EQ(treeText(tree), "1 collection 1:5 type 1\n");
    EXPECT_FALSE(tree.hasFields);
}

TEST(GlobalItems, AFieldBeforeTheFirstReportIDIsAnError)
{
    EXPECT_EQ(diagnosesText(inApplication("09 30 81 02 85 01 09 31 81 02")),
              "error at 16, Report ID: missing before this field, though others have one\n");
}

TEST(GlobalItems, PopBringsBackEverythingThatPushKept)
{
    const Descriptor descriptor =
        inApplication("35 01 45 05 55 0E 65 11 85 01 A4 05 09 15 81 25 7F 35 02 45 06 55 03 65 "
                      "12 75 08 95 02 85 02 09 30 81 02 B4 09 30 81 02");
    EXPECT_EQ(fieldsText(descriptor),
              "input 2 at 0: 2 x 8 bits, flags 2, -127..127 (2..6), unit 12^3, usages 9:30, in 0\n"
              "input 1 at 0: 1 x 1 bits, flags 2, 0..1 (1..5), unit 11^-2, usages 1:30, in 0\n");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 49, Pop: brings back the report number, hosts disagree: 1\n");
}

TEST(GlobalItems, PopWithoutPushIsAnErrorAndChangesNothing)
{
    const Descriptor descriptor = inApplication("B4 09 30 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "error at 14, Pop: nothing was pushed\n");
}

TEST(GlobalItems, APushWithoutPopIsToldAtTheEnd)
{
    EXPECT_EQ(diagnosesText(inApplication("A4 09 30 81 02")), "warning at 20, end: pushed states not popped: 1\n");
}

TEST(GlobalItems, UnknownGlobalTagsAreSkipped)
{
    const Descriptor descriptor = inApplication("C5 01 F7 01 02 03 04 09 30 81 02");
    EXPECT_EQ(descriptor.fields.size(), 1U);
    EXPECT_EQ(diagnosesText(descriptor), "warning at 14, reserved global item: unknown tag, skipped: 12\n"
                                         "warning at 16, reserved global item: unknown tag, skipped: 15\n");
}

TEST(LocalItems, UsagesAreListedInTheirOrderAndEndWithTheMainItem)
{
    const Descriptor descriptor = inApplication("95 02 09 31 0A 30 01 81 02 09 32 09 33 81 02");
    EXPECT_EQ(fieldsText(descriptor),
              "input 0 at 0: 2 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31 1:130, in 0\n"
              "input 0 at 2: 2 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:32 1:33, in 0\n");
}

TEST(LocalItems, AUsageOfFourBytesCarriesItsPage)
{
    EXPECT_EQ(onlyField(inApplication("95 02 0B 21 00 0B 00 09 30 05 09 81 02")),
              "input 0 at 0: 2 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages b:21 9:30, in 0");
}

TEST(LocalItems, UsageMinimumAndMaximumMakeARange)
{
    EXPECT_EQ(onlyField(inApplication("95 03 19 30 29 32 81 02")),
              "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30-32, in 0");
    EXPECT_EQ(onlyField(inApplication("95 03 1B 01 00 09 00 2B 03 00 09 00 81 02")),
              "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 9:1-3, in 0");
}

TEST(LocalItems, AUsageMaximumMayComeFirst)
{
    const Descriptor descriptor = inApplication("95 03 29 32 19 30 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30-32, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 18, Usage Minimum: comes after its maximum\n");
}

TEST(LocalItems, APageAtOneEndOfARangeCountsForBoth)
{
    const Descriptor descriptor = inApplication("95 03 19 01 2B 03 00 09 00 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 9:1-3, in 0");
    EXPECT_EQ(diagnosesText(descriptor),
              "warning at 18, Usage Maximum: only one end of the range carries a usage page\n");
    EXPECT_EQ(onlyField(inApplication("95 03 19 30 2B 32 00 00 00 81 02")),
              "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30-32, in 0");
}

TEST(LocalItems, APageThatChangesInsideARangeIsToldOfAndTheSecondEndsCounts)
{
    const Descriptor descriptor = inApplication("95 03 19 01 05 09 29 03 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 9:1-3, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 20, Usage Maximum: the usage page changed inside the range, its "
                                         "second end's counts, hosts disagree\n");
    EXPECT_EQ(diagnosesText(inApplication("95 03 05 09 19 01 29 03 81 02")), "");
    EXPECT_EQ(diagnosesText(inApplication("95 03 1B 01 00 09 00 05 01 2B 03 00 09 00 81 02")), "")
        << "ends that carry their page do not depend on it";
}

TEST(LocalItems, AnInvertedRangeIsDroppedAndARangeOverTwoPagesKeptWithAnError)
{
    const Descriptor inverted = inApplication("09 05 19 32 29 30 81 02");
    EXPECT_EQ(onlyField(inverted), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:5, in 0");
    EXPECT_EQ(diagnosesText(inverted), "error at 18, Usage Maximum: minimum above maximum, the range is dropped\n");

    const Descriptor wide = inApplication("1B FF FF 09 00 2B 00 00 0A 00 81 02");
    EXPECT_EQ(onlyField(wide), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 9:ffff-a:0, in 0");
    EXPECT_EQ(diagnosesText(wide), "error at 19, Usage Maximum: range over two usage pages\n"
                                   "warning at 24, Input: more usages than fields, fields: 1\n");
}

TEST(LocalItems, HalfARangeIsDroppedAtTheMainItem)
{
    const Descriptor noMaximum = inApplication("09 05 19 30 81 02 29 32 09 06 81 02");
    EXPECT_EQ(fieldsText(noMaximum), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:5, in 0\n"
                                     "input 0 at 1: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:6, in 0\n");
    EXPECT_EQ(diagnosesText(noMaximum), "warning at 18, Input: a minimum before it has no maximum\n"
                                        "error at 24, Input: a maximum before it has no minimum\n");
}

TEST(LocalItems, AMinimumGivenTwiceCountsTheSecondTime)
{
    const Descriptor descriptor = inApplication("95 02 19 30 19 31 29 32 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 2 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31-32, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 18, Usage Minimum: given twice, the first is dropped\n");
}

TEST(LocalItems, DesignatorsAndStringsAreSkippedButTheirRangesMustBalance)
{
    const Descriptor whole = inApplication("09 30 39 01 49 01 59 02 79 01 89 02 99 03 81 02");
    EXPECT_EQ(onlyField(whole), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(diagnosesText(whole), "");
    EXPECT_EQ(diagnosesText(inApplication("09 30 49 01 81 02")),
              "warning at 18, Input: a minimum before it has no maximum\n");
    EXPECT_EQ(diagnosesText(inApplication("09 30 99 01 81 02")),
              "error at 18, Input: a maximum before it has no minimum\n");
    EXPECT_EQ(diagnosesText(inApplication("09 30 89 03 99 01 81 02")),
              "error at 18, String Maximum: minimum above maximum, the range is dropped\n");
}

TEST(LocalItems, OfADelimiterSetTheFirstUsageIsTaken)
{
    const Descriptor descriptor = inApplication("95 02 A9 01 09 30 09 31 A9 00 A9 01 09 32 19 40 29 44 A9 00 81 02");
    EXPECT_EQ(onlyField(descriptor),
              "input 0 at 0: 2 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30 1:32, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "");
}

TEST(LocalItems, DelimitersThatAreNestedOrOpenOrUnknownAreErrors)
{
    EXPECT_EQ(diagnosesText(inApplication("A9 01 A9 01 09 30 A9 00 81 02")),
              "error at 16, Delimiter: set opened inside a set\n");
    EXPECT_EQ(diagnosesText(inApplication("A9 00 09 30 81 02")),
              "error at 14, Delimiter: set closed without being open\n");
    EXPECT_EQ(diagnosesText(inApplication("A9 07 09 30 81 02")),
              "error at 14, Delimiter: neither opens nor closes a set: 7\n");
    const Descriptor open = inApplication("A9 01 09 30 09 31 81 02");
    EXPECT_EQ(onlyField(open), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(diagnosesText(open), "error at 20, Input: a set of alternatives before it was not closed\n");
}

TEST(LocalItems, UnknownLocalTagsAreSkipped)
{
    const Descriptor descriptor = inApplication("09 30 69 01 B9 02 81 02");
    EXPECT_EQ(descriptor.fields.size(), 1U);
    EXPECT_EQ(diagnosesText(descriptor), "warning at 16, reserved local item: unknown tag, skipped: 6\n"
                                         "warning at 18, reserved local item: unknown tag, skipped: 11\n");
}

TEST(LocalItems, UsagesBeforeAnEndCollectionAreLost)
{
    const Descriptor descriptor = read("05 01 09 05 A1 01 A1 02 09 30 C0 15 00 25 01 75 01 95 01 09 31 81 02 C0 09 32");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 10, End Collection: usages before it belong to nothing\n"
                                         "warning at 26, end: usages without a main item\n");
}

TEST(OtherItems, ALongItemIsSkippedWhole)
{
    const Descriptor descriptor = inApplication("FE 03 F1 81 02 C0 09 30 81 02");
    EXPECT_EQ(onlyField(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0");
    EXPECT_EQ(diagnosesText(descriptor), "warning at 14, long item: skipped, tag: 241\n");
}

TEST(OtherItems, AnItemOfTheReservedTypeIsSkippedWithItsData)
{
    const Descriptor descriptor = inApplication("0E 81 02 09 30 81 02");
    EXPECT_EQ(descriptor.fields.size(), 1U);
    EXPECT_EQ(diagnosesText(descriptor), "warning at 14, reserved item: unknown type, skipped, tag: 0\n");
}

TEST(OtherItems, AnItemCutOffByTheEndStopsTheReading)
{
    EXPECT_EQ(diagnosesText(read("05 01 15 00 25 01 75 01 95 01 A1 01 09 30 81 02 C0 26 FF")),
              "error at 17, Logical Maximum: cut off by the end of the descriptor\n");
    EXPECT_EQ(diagnosesText(read("FE 05")), "error at 0, long item: cut off by the end of the descriptor\n"
                                            "error at 2, end: no input, output or feature item\n");
    EXPECT_EQ(diagnosesText(read("FE 05 01 00 00")), "error at 0, long item: cut off by the end of the descriptor\n"
                                                     "error at 5, end: no input, output or feature item\n");
}

TEST(OtherItems, NoBytesAreADescriptorWithoutFields)
{
    Descriptor descriptor = read("");
    EXPECT_EQ(diagnosesText(descriptor), "error at 0, end: no input, output or feature item\n");
    const ElementTree tree = buildElementTree(descriptor);
    EXPECT_FALSE(tree.hasFields);
    EXPECT_EQ(tree.elements.size(), 1U);
    EXPECT_EQ(tree.primaryUsage, UsagePair{});
    EXPECT_TRUE(tree.usagePairs.empty());
}

} // namespace
} // namespace qrx::hid
