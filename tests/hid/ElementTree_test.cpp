// How fields become elements: kinds, order, places, ranges, and what describes the device as a whole.

#include "DescriptorText.h"

#include <gtest/gtest.h>

namespace qrx::hid {
namespace {

ElementTree treeOf(const std::string& hex)
{
    Descriptor descriptor = parseReportDescriptor(bytesOf(hex));
    return buildElementTree(descriptor);
}

/// The tree of `items` inside an application collection on page 1, usage 5, with a range of 0..1 and one field of one
/// bit; the collection itself has cookie 1.
ElementTree inApplication(const std::string& items)
{
    return treeOf("05 01 09 05 A1 01 15 00 25 01 75 01 95 01 " + items + " C0");
}

std::vector<std::uint32_t> childrenOf(const ElementTree& tree, std::uint32_t cookie)
{
    const auto children = tree.elements[cookie].children;
    return {children.begin(), children.end()};
}

/// Only the fields, one line each.
std::string fieldLines(const ElementTree& tree)
{
    std::string text;
    for (const Element& element : tree.elements) {
        if (element.role != ElementRole::collection && element.role != ElementRole::reportHandler &&
            element.isPublished)
            text += elementText(element) + "\n";
    }
    return text;
}

TEST(ElementOrder, ButtonsComeBeforeValuesAndInputBeforeOutputBeforeFeature)
{
    const ElementTree tree = inApplication("75 08 09 B1 B1 02 09 91 91 02 09 30 81 02 "
                                           "75 01 09 B2 B1 02 09 92 91 02 09 31 81 02");
    EXPECT_EQ(fieldLines(tree), "2 button 1:31 id 0 1*1 at 8 flags 2 0..1 (0..1) unit 0^0\n"
                                "3 field 1:92 output id 0 1*1 at 8 flags 2 0..1 (0..1) unit 0^0\n"
                                "4 field 1:b2 feature id 0 1*1 at 8 flags 2 0..1 (0..1) unit 0^0\n"
                                "5 field 1:30 id 0 1*8 at 0 flags 2 0..1 (0..1) unit 0^0\n"
                                "6 field 1:91 output id 0 1*8 at 0 flags 2 0..1 (0..1) unit 0^0\n"
                                "7 field 1:b1 feature id 0 1*8 at 0 flags 2 0..1 (0..1) unit 0^0\n");
}

TEST(ElementOrder, TypesAreThePlatformsNumbers)
{
    const ElementTree tree = inApplication("09 30 81 02 75 08 09 31 81 02 09 32 81 00 09 33 91 02 09 34 B1 02");
    std::vector<std::uint32_t> types;
    for (const Element& element : tree.elements)
        types.push_back(static_cast<std::uint32_t>(element.type));
    // Root, collection, bit, array head, selector, input value, output, feature, handler.
    EXPECT_EQ(types, (std::vector<std::uint32_t>{513, 513, 2, 2, 2, 1, 129, 257, 1}));
}

TEST(ElementOrder, ChildCollectionsComeFirstAndEveryCookieIsItsPlaceInTheTable)
{
    const ElementTree tree = treeOf("05 01 15 00 25 01 75 01 95 01 09 05 A1 01 09 30 81 02 09 06 A1 02 09 31 81 02 C0 "
                                    "09 32 81 02 09 07 A1 02 C0 C0 09 08 A1 01 09 33 81 02 C0");
    EXPECT_EQ(childrenOf(tree, 0), (std::vector<std::uint32_t>{1, 4}));
    EXPECT_EQ(childrenOf(tree, 1), (std::vector<std::uint32_t>{2, 3, 5, 7}));
    EXPECT_EQ(childrenOf(tree, 2), (std::vector<std::uint32_t>{6}));
    EXPECT_TRUE(tree.elements[3].children.empty());
    EXPECT_EQ(childrenOf(tree, 4), (std::vector<std::uint32_t>{8}));
    for (std::uint32_t cookie = 0; cookie < tree.elements.size(); ++cookie)
        EXPECT_EQ(tree.elements[cookie].cookie, cookie);
}

TEST(ElementOrder, AFieldOutsideAnyCollectionIsATopLevelElement)
{
    const ElementTree tree = treeOf("05 01 15 00 25 01 75 01 95 01 09 30 81 02 09 05 A1 01 09 31 81 02 C0");
    EXPECT_EQ(childrenOf(tree, 0), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(childrenOf(tree, 1), (std::vector<std::uint32_t>{3}));
}

TEST(BitElements, EachUsageHasItsOwnBitAlsoBehindARange)
{
    EXPECT_EQ(fieldLines(inApplication("95 05 05 09 19 01 29 03 09 07 09 09 81 02")),
              "2 button 9:1 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0\n"
              "3 button 9:2 id 0 1*1 at 1 flags 2 0..1 (0..1) unit 0^0\n"
              "4 button 9:3 id 0 1*1 at 2 flags 2 0..1 (0..1) unit 0^0\n"
              "5 button 9:7 id 0 1*1 at 3 flags 2 0..1 (0..1) unit 0^0\n"
              "6 button 9:9 id 0 1*1 at 4 flags 2 0..1 (0..1) unit 0^0\n");
}

TEST(BitElements, TheLogicalRangeIsAlways0To1)
{
    EXPECT_EQ(fieldLines(inApplication("15 FF 25 00 35 05 45 09 09 30 81 02")),
              "2 button 1:30 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0\n");
}

TEST(BitElements, SurplusBitsHaveNoElementAndSurplusUsagesNoPlace)
{
    EXPECT_EQ(fieldLines(inApplication("95 03 09 30 81 02")),
              "2 button 1:30 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0\n");
    EXPECT_EQ(fieldLines(inApplication("95 02 19 30 29 32 81 02 09 40 81 02")),
              "2 button 1:30 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0\n"
              "3 button 1:31 id 0 1*1 at 1 flags 2 0..1 (0..1) unit 0^0\n"
              "4 button 1:32 id 0 1*1 at none flags 2 0..1 (0..1) unit 0^0\n"
              "5 button 1:40 id 0 1*1 at 2 flags 2 0..1 (0..1) unit 0^0\n");
}

TEST(ValueElements, TheLastUsageStandsForAllRemainingValues)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 95 04 09 30 09 31 81 02")),
              "2 field 1:30 id 0 1*8 at 0 flags 2 0..1 (0..1) unit 0^0\n"
              "3 field 1:31 id 0 3*8 at 8 flags 2 0..1 (0..1) unit 0^0\n"
              "4 duplicate 1:31 id 0 1*8 at 8 flags 2 0..1 (0..1) unit 0^0 index 0\n"
              "5 duplicate 1:31 id 0 1*8 at 16 flags 2 0..1 (0..1) unit 0^0 index 1\n"
              "6 duplicate 1:31 id 0 1*8 at 24 flags 2 0..1 (0..1) unit 0^0 index 2\n");
}

TEST(ValueElements, ARangeOfOneUsageStandsForAllRemainingValuesToo)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 95 03 09 30 19 31 29 31 81 02")),
              fieldLines(inApplication("75 08 95 03 09 30 09 31 81 02")));
}

TEST(ValueElements, ALastUsageThatRepeatsAnEarlierOneStandsForAllRemainingValues)
{
    const ElementTree tree = inApplication("75 08 95 04 09 30 09 30 81 02");
    std::vector<std::uint32_t> counts;
    for (const Element& element : tree.elements) {
        if (element.role == ElementRole::field)
            counts.push_back(element.reportCount);
    }
    EXPECT_EQ(counts, (std::vector<std::uint32_t>{1, 3}));
}

TEST(ValueElements, ARangeMakesOneElementForEachOfItsUsages)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 95 05 19 30 29 31 81 02")),
              "2 field 1:30 id 0 1*8 at 0 flags 2 0..1 (0..1) unit 0^0\n"
              "3 field 1:31 id 0 1*8 at 8 flags 2 0..1 (0..1) unit 0^0\n");
    EXPECT_EQ(fieldLines(inApplication("75 08 95 04 19 30 29 31 09 40 81 02")),
              "2 field 1:30 id 0 1*8 at 0 flags 2 0..1 (0..1) unit 0^0\n"
              "3 field 1:31 id 0 1*8 at 8 flags 2 0..1 (0..1) unit 0^0\n"
              "4 field 1:40 id 0 2*8 at 16 flags 2 0..1 (0..1) unit 0^0\n"
              "5 duplicate 1:40 id 0 1*8 at 16 flags 2 0..1 (0..1) unit 0^0 index 0\n"
              "6 duplicate 1:40 id 0 1*8 at 24 flags 2 0..1 (0..1) unit 0^0 index 1\n");
}

TEST(ValueElements, MoreThan32DuplicatesAreNumberedButNotPublished)
{
    const ElementTree many = inApplication("75 08 95 21 09 30 81 02");
    EXPECT_EQ(treeText(many), "1 collection 1:5 type 1\n"
                              "  2 field 1:30 id 0 33*8 at 0 flags 2 0..1 (0..1) unit 0^0\n"
                              "36 handler 0:0 id 0 1*264\n");
    EXPECT_EQ(many.elements.size(), 37U);
    EXPECT_EQ(many.elements[35].duplicateIndex, 32U);
    EXPECT_FALSE(many.elements[35].isPublished);
    EXPECT_EQ(inApplication("75 08 95 20 09 30 81 02").elements[1].children.size(), 33U);
}

TEST(ValueElements, UnitsAreTheItemsValues)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 55 0E 65 14 09 30 81 02")),
              "2 field 1:30 id 0 1*8 at 0 flags 2 0..1 (0..1) unit 14^14\n");
}

TEST(ArrayElements, AHeadIsFollowedByItsSlotsAndOneSelectorForEachUsage)
{
    EXPECT_EQ(
        fieldLines(inApplication("85 02 75 04 95 02 15 01 25 04 35 01 45 09 55 01 65 11 05 09 19 01 29 03 0B 20 00 0C "
                                 "00 81 40")),
        "2 array 9:none id 2 2*4 at 8 flags 40 1..4 (1..4) unit 0^0\n"
        "3 slot 9:none id 2 1*4 at 8 flags 40 1..4 (1..4) unit 0^0 index 0\n"
        "4 slot 9:none id 2 1*4 at 12 flags 40 1..4 (1..4) unit 0^0 index 1\n"
        "5 selector 9:1 id 2 1*1 at 8 flags 40 0..1 (0..1) unit 0^0\n"
        "6 selector 9:2 id 2 1*1 at 8 flags 40 0..1 (0..1) unit 0^0\n"
        "7 selector 9:3 id 2 1*1 at 8 flags 40 0..1 (0..1) unit 0^0\n"
        "8 selector c:20 id 2 1*1 at 8 flags 40 0..1 (0..1) unit 0^0\n");
}

TEST(ArrayElements, MoreThan32SlotsArePublished)
{
    std::size_t slots = 0;
    for (const Element& element : inApplication("75 08 95 21 19 01 29 02 25 02 81 00").elements)
        slots += element.role == ElementRole::arraySlot && element.isPublished ? 1 : 0;
    EXPECT_EQ(slots, 33U);
}

TEST(ArrayElements, StringItemsChangeNoLimits)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 95 02 19 01 29 02 25 02 89 05 99 09 81 00")),
              fieldLines(inApplication("75 08 95 02 19 01 29 02 25 02 81 00")));
}

TEST(ArrayElements, AnArrayOfOneHasNoSlots)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 09 30 81 00")),
              "2 array 1:none id 0 1*8 at 0 flags 0 0..1 (0..1) unit 0^0\n"
              "3 selector 1:30 id 0 1*1 at 0 flags 0 0..1 (0..1) unit 0^0\n");
}

TEST(ArrayElements, AKeyboardsArrayIsNotExtendedBeyondItsDeclaredUsages)
{
    const ElementTree tree = inApplication("75 08 95 06 25 65 05 07 19 00 29 65 81 00");
    EXPECT_EQ(tree.elements[1].children.size(), 1U + 6U + 0x66U);
}

TEST(LogicalRanges, ARangeWiderThanTheFieldIsCut)
{
    EXPECT_EQ(fieldLines(inApplication("75 04 25 7F 09 30 81 02")),
              "2 field 1:30 id 0 1*4 at 0 flags 2 0..15 (0..15) unit 0^0\n");
    EXPECT_EQ(fieldLines(inApplication("75 04 15 20 25 7F 09 30 81 02")),
              "2 field 1:30 id 0 1*4 at 0 flags 2 0..15 (0..15) unit 0^0\n");
}

TEST(LogicalRanges, AnInvertedRangeOfAVariableIsTurnedRoundAndAnArraysIsNot)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 15 05 25 03 09 30 81 02")),
              "2 field 1:30 id 0 1*8 at 0 flags 2 3..5 (3..5) unit 0^0\n");
    EXPECT_EQ(fieldLines(inApplication("75 08 15 05 25 03 09 30 81 00")),
              "2 array 1:none id 0 1*8 at 0 flags 0 5..3 (5..3) unit 0^0\n"
              "3 selector 1:30 id 0 1*1 at 0 flags 0 0..1 (0..1) unit 0^0\n");
}

TEST(LogicalRanges, An32BitUnsignedMaximumIsItsBitPattern)
{
    EXPECT_EQ(fieldLines(inApplication("75 20 15 00 27 FF FF FF FF 09 30 81 02")),
              "2 field 1:30 id 0 1*32 at 0 flags 2 0..-1 (0..-1) unit 0^0\n");
}

TEST(LogicalRanges, PhysicalLimitsThatDoNotIncreaseAreTheLogicalOnes)
{
    EXPECT_EQ(fieldLines(inApplication("75 08 25 07 35 00 46 3B 01 09 39 81 42")),
              "2 field 1:39 id 0 1*8 at 0 flags 42 0..7 (0..315) unit 0^0\n");
    EXPECT_EQ(fieldLines(inApplication("75 08 25 07 35 05 45 05 09 39 81 42")),
              "2 field 1:39 id 0 1*8 at 0 flags 42 0..7 (0..7) unit 0^0\n");
}

TEST(ConstantItems, OnlyThoseWithAUsageMakeElements)
{
    EXPECT_EQ(fieldLines(inApplication("95 07 81 03 09 00 95 01 81 03 19 00 29 00 81 01 09 31 81 03")),
              "2 button 1:31 id 0 1*1 at 9 flags 3 0..1 (0..1) unit 0^0\n");
}

TEST(ConstantItems, DataWithoutUsageAndFieldsWithoutBitsMakeNone)
{
    EXPECT_EQ(fieldLines(inApplication("81 02 95 00 09 31 81 02 75 00 95 09 09 31 81 02 75 01 95 01 09 33 81 02")),
              "2 button 1:33 id 0 1*1 at 1 flags 2 0..1 (0..1) unit 0^0\n");
}

TEST(ReportHandlers, WithoutReportNumbersThereIsOneIfThereIsInput)
{
    EXPECT_EQ(inApplication("09 30 81 02").reportHandlers, (std::vector<std::uint32_t>{3}));
    EXPECT_TRUE(inApplication("09 30 91 02").reportHandlers.empty());
}

TEST(ReportHandlers, EveryReportNumberHasOneInTheOrderOfAppearance)
{
    const ElementTree tree = inApplication("09 30 81 02 85 07 09 31 91 02 85 03 95 09 09 32 81 02 85 09");
    std::string text;
    for (const std::uint32_t cookie : tree.reportHandlers)
        text += elementText(tree.elements[cookie]) + "\n";
    EXPECT_EQ(text, "5 handler 0:0 id 0 1*1\n"
                    "6 handler 0:0 id 7 1*8\n"
                    "7 handler 0:0 id 3 1*17\n"
                    "8 handler 0:0 id 9 1*8\n");
}

TEST(DeviceDescription, MaximumReportSizesCountTheByteWithTheReportsNumber)
{
    const ElementTree plain = inApplication("95 09 09 30 81 02");
    EXPECT_EQ(plain.maxInputReportSize, 2U);
    EXPECT_EQ(plain.maxOutputReportSize, 0U);
    EXPECT_FALSE(plain.usesReportIDs);

    const ElementTree numbered = inApplication("85 01 95 09 09 30 81 02 85 02 95 11 09 30 81 02 91 02");
    EXPECT_EQ(numbered.maxInputReportSize, 4U);
    EXPECT_EQ(numbered.maxOutputReportSize, 4U);
    EXPECT_EQ(numbered.maxFeatureReportSize, 1U);
    EXPECT_TRUE(numbered.usesReportIDs);
}

TEST(DeviceDescription, UsagePairsAreThoseOfApplicationAndPhysicalCollectionsOnce)
{
    const ElementTree tree = treeOf("05 01 09 06 A1 01 C0 09 02 A1 01 09 01 A1 00 09 03 A1 02 C0 C0 C0 09 06 A1 01 C0");
    EXPECT_EQ(tree.primaryUsage, (UsagePair{1, 6}));
    EXPECT_EQ(tree.usagePairs, (std::vector<UsagePair>{{1, 6}, {1, 2}, {1, 1}}));
}

TEST(DeviceDescription, WithoutSuchCollectionsTheFirstOneIsThePair)
{
    EXPECT_EQ(treeOf("05 01 09 06 A1 02 09 07 A1 03 C0 C0").usagePairs, (std::vector<UsagePair>{{1, 6}}));
}

} // namespace
} // namespace qrx::hid
