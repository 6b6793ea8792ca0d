// The last value that an item may have and the first that it may not, and lists in which only one of many is at fault.

#include "DescriptorText.h"
#include "HID/ElementBudget.h"

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

/// The diagnosis of a variable field with this logical range and size, which begins at byte 14.
std::string ofRange(const std::string& range, const std::string& sizeHex)
{
    return diagnosesText(inApplication(range + " 75 " + sizeHex + " 09 30 81 02"));
}

bool isTooWide(const std::string& range, const std::string& sizeHex)
{
    return ofRange(range, sizeHex).find("logical range does not fit the field") != std::string::npos;
}

TEST(LogicalRangesOfItems, AnUnsignedRangeFitsUpToAllOnes)
{
    EXPECT_FALSE(isTooWide("15 00 25 01", "01"));
    EXPECT_TRUE(isTooWide("15 00 25 02", "01"));
    EXPECT_FALSE(isTooWide("15 00 26 FF 00", "08"));
    EXPECT_TRUE(isTooWide("15 00 26 00 01", "08"));
    EXPECT_FALSE(isTooWide("15 00 27 FF FF FF 7F", "1F"));
    EXPECT_TRUE(isTooWide("15 00 27 FF FF FF FF", "1F"));
    EXPECT_FALSE(isTooWide("15 00 27 FF FF FF FF", "20"));
    EXPECT_FALSE(isTooWide("15 00 27 FF FF FF FF", "21"));
}

TEST(LogicalRangesOfItems, ASignedRangeFitsBetweenTheTwoHalves)
{
    EXPECT_FALSE(isTooWide("15 FF 25 00", "01"));
    EXPECT_TRUE(isTooWide("15 FE 25 00", "01"));
    EXPECT_TRUE(isTooWide("15 FF 25 01", "01"));
    EXPECT_FALSE(isTooWide("15 80 25 7F", "08"));
    EXPECT_TRUE(isTooWide("16 7F FF 25 7F", "08"));
    EXPECT_TRUE(isTooWide("15 80 26 80 00", "08"));
    EXPECT_FALSE(isTooWide("17 00 00 00 C0 27 FF FF FF 3F", "1F"));
    EXPECT_TRUE(isTooWide("17 FF FF FF BF 27 FF FF FF 3F", "1F"));
    EXPECT_TRUE(isTooWide("17 00 00 00 C0 27 00 00 00 40", "1F"));
}

TEST(LogicalRangesOfItems, AnyRangeFitsAFieldThatIsWiderThanItsItems)
{
    for (const char* size : {"21", "3F", "40", "41", "FF"}) {
        EXPECT_FALSE(isTooWide("15 00 25 7F", size)) << size;
        EXPECT_FALSE(isTooWide("17 00 00 00 80 27 FF FF FF 7F", size)) << size;
    }
}

TEST(LogicalRangesOfItems, AFieldOf31BitsShowsNoMoreThanItsBits)
{
    Descriptor descriptor = inApplication("15 00 27 FF FF FF FF 75 1F 09 30 81 02");
    EXPECT_EQ(0x7FFFFFFF, buildElementTree(descriptor).elements[2].max);
}

TEST(MissingItems, ASizeWithoutACountIsToldAndSoIsACountWithoutASize)
{
    const std::string start = "05 01 09 05 A1 01 15 00 25 01 ";
    EXPECT_EQ(diagnosesText(read(start + "75 01 09 30 81 02 C0")),
              "warning at 14, Input: report size or count never given\n"
              "warning at 14, Input: more usages than fields, fields: 0\n");
    EXPECT_EQ(diagnosesText(read(start + "95 01 09 30 81 02 C0")),
              "warning at 14, Input: report size or count never given\n");
    EXPECT_EQ(diagnosesText(read(start + "75 00 95 01 09 30 81 02 C0")),
              "warning at 16, Input: no bits: report size or count is 0\n");
}

TEST(MissingItems, TheFirstFieldWithoutANumberIsNamed)
{
    EXPECT_EQ(diagnosesText(inApplication("09 30 81 02 09 31 81 02 85 01 09 32 81 02")),
              "error at 16, Report ID: missing before this field, though others have one\n");
}

TEST(MissingItems, OneUsageWithoutAPageAmongOthersIsAnError)
{
    const std::string end = " A1 01 C0";
    EXPECT_EQ(diagnosesText(read("0B 05 00 01 00 09 06" + end)).find("error at 7, Collection: a usage without a usage"),
              0U);
    EXPECT_EQ(diagnosesText(read("0B 05 00 01 00 0B 06 00 01 00" + end)).find("a usage without a usage page"),
              std::string::npos);
}

TEST(MissingItems, HalfARangeBeforeAnEndIsAUsageThatIsLost)
{
    EXPECT_EQ(diagnosesText(read("05 01 09 02 A1 01 15 00 25 01 75 01 95 01 09 30 81 02 19 01 C0")),
              "warning at 20, End Collection: usages before it belong to nothing\n"
              "warning at 20, End Collection: a minimum before it has no maximum\n");
    EXPECT_EQ(diagnosesText(inApplication("09 30 81 02") /* nothing is open */), "");
}

TEST(MissingItems, ACountThatLinuxStillTakesIsNotTold)
{
    EXPECT_EQ(diagnosesText(inApplication("96 00 30 0B 30 00 01 00 81 02")), "");
    EXPECT_NE(diagnosesText(inApplication("96 01 30 0B 30 00 01 00 81 02")), "");
}

TEST(MissingItems, ALongItemMayBeTheLast)
{
    const std::string start = "05 01 09 05 A1 01 15 00 25 01 75 01 95 01 09 30 81 02 C0 ";
    EXPECT_EQ(diagnosesText(read(start + "FE 00 F1")), "warning at 19, long item: skipped, tag: 241\n");
    EXPECT_EQ(diagnosesText(read(start + "FE 00")), "error at 19, long item: cut off by the end of the descriptor\n");
}

TEST(MissingItems, InputWithoutBitsIsNoReport)
{
    Descriptor descriptor = inApplication("95 00 09 30 81 02");
    EXPECT_TRUE(buildElementTree(descriptor).reportHandlers.empty());
}

TEST(UsagePages, ARangeOfOtherThanUsagesHasNone)
{
    for (const char* items : {"49 01 05 09 59 02 05 01", "89 01 05 09 99 02 05 01"}) {
        EXPECT_EQ(diagnosesText(inApplication(std::string(items) + " 09 30 81 02")), "") << items;
    }
}

TEST(UsagePages, AnExtendedUsageKeepsItsPageAndSoIsNotToldOf)
{
    EXPECT_EQ(diagnosesText(inApplication("0B 30 00 01 00 05 09 81 02")), "");
    EXPECT_EQ(diagnosesText(inApplication("09 30 05 09 81 02")),
              "warning at 18, Input: the usage page changed between its usages and the item, hosts disagree\n");
    EXPECT_EQ(diagnosesText(inApplication("95 02 0B 30 00 01 00 09 31 05 09 81 02")),
              "warning at 25, Input: the usage page changed between its usages and the item, hosts disagree\n")
        << "one of two";
}

TEST(ElementShares, WhoWantsLessHasAllOfItAndTheOthersTheSame)
{
    EXPECT_EQ(largestShare({}, 10), 10U);
    EXPECT_EQ(largestShare({3, 4}, 10), 10U) << "all fit";
    EXPECT_EQ(largestShare({5, 5}, 10), 10U) << "just";
    EXPECT_EQ(largestShare({6, 5}, 10), 5U);
    EXPECT_EQ(largestShare({100, 2, 100}, 10), 4U);
    EXPECT_EQ(largestShare({1, 100, 3, 100}, 10), 3U);
    EXPECT_EQ(largestShare({7, 7, 7}, 10), 3U) << "rounded down";
    EXPECT_EQ(largestShare({1, 1}, 0), 0U);
}

TEST(ElementShares, EveryKindOfFieldIsCountedAsItIsBuilt)
{
    for (const char* items : {
             "09 30 81 02",                               // a bit
             "95 03 19 30 29 31 81 02",                   // bits and padding
             "75 08 95 04 09 30 09 31 81 02",             // published duplicates
             "75 08 95 20 09 30 81 02",                   // as many as are published
             "75 08 95 21 09 30 81 02",                   // hidden duplicates
             "75 08 95 05 19 30 29 31 81 02",             // a range
             "75 08 95 01 19 01 29 03 81 00",             // an array without slots
             "75 08 95 02 19 01 29 03 81 00",             // an array with slots
             "95 07 81 03",                               // padding
             "75 08 95 01 09 30 91 02 09 31 B1 02",       // output and feature
             "85 01 09 30 81 02 85 02 75 08 09 31 81 02", // numbers
         }) {
        Descriptor descriptor = inApplication(items);
        const std::uint64_t fields = wantedEntries(descriptor.fields);
        const ElementTree tree = buildElementTree(descriptor);
        std::size_t built = 0;
        for (const Element& element : tree.elements) {
            built += element.role != ElementRole::collection && element.role != ElementRole::reportHandler ? 1 : 0;
        }
        EXPECT_EQ(built, fields) << items;
        EXPECT_EQ(diagnosesText(descriptor).find("elements"), std::string::npos) << items;
    }
}

TEST(ElementShares, AllThatJustFitsIsBuiltAndOneLessCutsTheLargest)
{
    const std::string items = "95 02 05 09 19 01 29 02 81 02 75 08 95 01 25 03 19 00 29 03 81 00";
    Descriptor whole = inApplication(items);
    const std::size_t needed = buildElementTree(whole).elements.size();
    Limits limits;
    limits.elements = needed;
    Descriptor just = inApplication(items);
    EXPECT_EQ(buildElementTree(just, limits).elements.size(), needed);
    EXPECT_EQ(diagnosesText(just), "");
    limits.elements = needed - 1;
    Descriptor less = inApplication(items);
    EXPECT_EQ(buildElementTree(less, limits).elements.size(), needed - 1);
    EXPECT_EQ(diagnosesText(less), "warning at 34, Input: more elements than the limit leaves room for, left out: 1\n");
}

TEST(ElementShares, OfSeveralLargeItemsEachIsCutToTheSame)
{
    Limits limits;
    limits.elements = 3 + 2 * 4 + 2; // root, collection, handler; two arrays of four elements; two bits
    Descriptor descriptor = inApplication("75 08 19 01 29 09 25 09 81 00 19 11 29 1A 81 00 "
                                          "75 01 95 02 19 30 29 31 25 01 81 02");
    const ElementTree tree = buildElementTree(descriptor, limits);
    EXPECT_EQ(tree.elements.size(), limits.elements);
    EXPECT_EQ(diagnosesText(descriptor)
                  .find("warning at 22, Input: more elements than the limit leaves room for, left "
                        "out: 6\n"),
              0U)
        << diagnosesText(descriptor);
}

TEST(UsagePairs, OnesWithTheSameUsageOnTwoPagesAreTwo)
{
    Descriptor descriptor = read("05 01 09 06 A1 01 C0 05 0C 09 06 A1 01 C0");
    EXPECT_EQ(buildElementTree(descriptor).usagePairs, (std::vector<UsagePair>{{1, 6}, {12, 6}}));
}

} // namespace
} // namespace qrx::hid
