// Hostile input: every limit holds, is told of, and what was understood is kept.

#include "DescriptorText.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qrx::hid {
namespace {

std::string repeated(const std::string& text, std::size_t times)
{
    std::string all;
    for (std::size_t i = 0; i < times; ++i)
        all += text;
    return all;
}

std::string inApplication(const std::string& items)
{
    return "05 01 09 05 A1 01 15 00 25 01 75 01 95 01 " + items + " C0";
}

Descriptor read(const std::string& hex, const Limits& limits)
{
    return parseReportDescriptor(bytesOf(hex), limits);
}

TEST(DescriptorLimits, BytesBeyondTheLimitAreNotRead)
{
    Limits limits;
    limits.descriptorBytes = 18;
    const Descriptor descriptor = read(inApplication("09 30 81 02 09 31 81 02"), limits);
    EXPECT_EQ(descriptor.fields.size(), 1U);
    EXPECT_EQ(diagnosesText(descriptor), "error at 18, end: longer than the limit, the rest is not read, bytes: 23\n"
                                         "error at 18, end: collections not closed: 1\n");
    EXPECT_EQ(Limits{}.descriptorBytes, 4096U);
}

TEST(DescriptorLimits, ADescriptorAsLongAsTheLimitIsReadToItsEnd)
{
    Limits limits;
    limits.descriptorBytes = 23;
    const Descriptor descriptor = read(inApplication("09 30 81 02 09 31 81 02"), limits);
    EXPECT_EQ(descriptor.fields.size(), 2U);
    EXPECT_EQ(diagnosesText(descriptor), "");
}

TEST(DescriptorLimits, FieldsOfCollectionsNestedTooDeepAreThoseOfTheOneAround)
{
    Limits limits;
    limits.collectionDepth = 2;
    const Descriptor descriptor =
        read(inApplication("A1 02 A1 02 A1 02 09 30 81 02 C0 C0 09 31 81 02 C0 09 32 81 02"), limits);
    EXPECT_EQ(collectionsText(descriptor), "0 in - type 1 usage 1:5\n1 in 0 type 2 usage 1:0\n");
    EXPECT_EQ(fieldsText(descriptor), "input 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 1\n"
                                      "input 0 at 1: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31, in 1\n"
                                      "input 0 at 2: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:32, in 0\n");
    EXPECT_EQ(diagnosesText(descriptor),
              "error at 16, Collection: nested deeper than the limit, its fields are those of the one around it: 2\n"
              "error at 18, Collection: nested deeper than the limit, its fields are those of the one around it: 2\n");
}

TEST(DescriptorLimits, PushesBeyondTheLimitKeepNothingAndTheirPopsChangeNothing)
{
    Limits limits;
    limits.globalStackDepth = 1;
    const Descriptor descriptor = read(inApplication("A4 95 02 A4 95 03 B4 09 30 81 02 B4 09 31 81 02"), limits);
    EXPECT_EQ(fieldsText(descriptor), "input 0 at 0: 3 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0\n"
                                      "input 0 at 3: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:31, in 0\n");
    EXPECT_EQ(diagnosesText(descriptor), "error at 17, Push: more states pushed than the limit: 1\n"
                                         "error at 20, Pop: its state was beyond the limit, nothing changes\n");
}

TEST(DescriptorLimits, AReportTakesNoFieldsAfterOneThatDoesNotFit)
{
    Limits limits;
    limits.reportBits = 8;
    const Descriptor descriptor =
        read(inApplication("95 05 09 30 81 02 09 31 81 02 95 01 09 32 81 02 09 33 91 02"), limits);
    EXPECT_EQ(fieldsText(descriptor), "input 0 at 0: 5 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:30, in 0\n"
                                      "output 0 at 0: 1 x 1 bits, flags 2, 0..1 (0..0), unit 0^0, usages 1:33, in 0\n");
    EXPECT_EQ(diagnosesText(descriptor),
              "error at 22, Input: dropped, its report would be longer than the limit, bits: 8\n"
              "error at 28, Input: dropped, an earlier field of its report was dropped\n");
}

TEST(DescriptorLimits, SizesThatMultiplyPast32BitsDoNotWrapRound)
{
    // 2^31 fields of 2 bits, 2^32-1 of 2^32-1: the first product is 0 in 32 bits.
    for (const char* items :
         {"75 02 97 00 00 00 80", "77 FF FF FF FF 97 FF FF FF FF", "77 00 00 01 00 97 00 00 01 00"}) {
        Descriptor descriptor = read(inApplication(std::string(items) + " 09 30 81 02"), {});
        EXPECT_TRUE(descriptor.fields.empty()) << items;
        EXPECT_TRUE(descriptor.hasErrors()) << items;
        EXPECT_EQ(reportsText(descriptor), "input 0: 0 bits\n");
        EXPECT_FALSE(buildElementTree(descriptor).hasFields);
    }
}

TEST(DescriptorLimits, TheLargestReportThatAControlTransferCarriesIsTaken)
{
    EXPECT_EQ(read(inApplication("75 08 96 FF FF 09 30 B1 02"), {}).fields.size(), 1U);
    EXPECT_EQ(read(inApplication("75 08 97 00 00 01 00 09 30 B1 02"), {}).fields.size(), 0U);
}

TEST(DescriptorLimits, DiagnosesBeyondTheLimitAreCountedErrorsToo)
{
    Limits limits;
    limits.diagnoses = 3;
    const Descriptor descriptor = read(repeated("D0 ", 10) + repeated("C0 ", 5), limits);
    EXPECT_EQ(descriptor.diagnoses.size(), 3U);
    EXPECT_EQ(descriptor.unlistedDiagnoses, 13U);
    EXPECT_EQ(descriptor.errorCount, 6U);
    EXPECT_TRUE(descriptor.hasErrors());
    EXPECT_FALSE(descriptor.diagnoses.back().isError);
}

TEST(ElementLimits, UnpublishedDuplicatesAreTheFirstToBeLeftOut)
{
    Limits limits;
    limits.elements = 40;
    Descriptor descriptor = read(inApplication("75 08 95 28 09 30 81 02 95 04 09 31 81 02"), limits);
    const ElementTree tree = buildElementTree(descriptor, limits);
    EXPECT_EQ(treeText(tree), "1 collection 1:5 type 1\n"
                              "  2 field 1:30 id 0 40*8 at 0 flags 2 0..1 (0..1) unit 0^0\n"
                              "  3 field 1:31 id 0 4*8 at 320 flags 2 0..1 (0..1) unit 0^0\n"
                              "  4 duplicate 1:31 id 0 1*8 at 320 flags 2 0..1 (0..1) unit 0^0 index 0\n"
                              "  5 duplicate 1:31 id 0 1*8 at 328 flags 2 0..1 (0..1) unit 0^0 index 1\n"
                              "  6 duplicate 1:31 id 0 1*8 at 336 flags 2 0..1 (0..1) unit 0^0 index 2\n"
                              "  7 duplicate 1:31 id 0 1*8 at 344 flags 2 0..1 (0..1) unit 0^0 index 3\n"
                              "8 handler 0:0 id 0 1*352\n");
    EXPECT_EQ(diagnosesText(descriptor),
              "warning at 20, Input: too many elements, its unpublished duplicates are left out: 40\n");
}

TEST(ElementLimits, WhatFitsExactlyIsKeptWhole)
{
    // The root, the collection, the field with its 40 duplicates, the handler.
    constexpr std::size_t kWanted = 1 + 1 + 1 + 40 + 1;
    Limits limits;
    for (const bool fits : {true, false}) {
        limits.elements = fits ? kWanted : kWanted - 1;
        Descriptor descriptor = read(inApplication("75 08 95 28 09 30 81 02"), limits);
        EXPECT_EQ(wantedElements(descriptor), kWanted);
        buildElementTree(descriptor, limits);
        EXPECT_EQ(diagnosesText(descriptor), fits ? ""
                                                  : "warning at 20, Input: too many elements, its unpublished "
                                                    "duplicates are left out: 40\n");
    }
}

TEST(ElementLimits, ThenTheLargestItemIsCutAndTheOthersStayWhole)
{
    Limits limits;
    limits.elements = 10;
    Descriptor descriptor =
        read(inApplication("95 02 05 09 19 01 29 02 81 02 75 08 95 01 26 FF 00 19 00 29 FF 81 00"), limits);
    const ElementTree tree = buildElementTree(descriptor, limits);
    EXPECT_EQ(treeText(tree), "1 collection 1:5 type 1\n"
                              "  2 button 9:1 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0\n"
                              "  3 button 9:2 id 0 1*1 at 1 flags 2 0..1 (0..1) unit 0^0\n"
                              "  4 array 9:none id 0 1*8 at 2 flags 0 0..255 (0..255) unit 0^0\n"
                              "  5 selector 9:0 id 0 1*1 at 2 flags 0 0..1 (0..1) unit 0^0\n"
                              "  6 selector 9:1 id 0 1*1 at 2 flags 0 0..1 (0..1) unit 0^0\n"
                              "  7 selector 9:2 id 0 1*1 at 2 flags 0 0..1 (0..1) unit 0^0\n"
                              "  8 selector 9:3 id 0 1*1 at 2 flags 0 0..1 (0..1) unit 0^0\n"
                              "9 handler 0:0 id 0 1*10\n");
    EXPECT_EQ(diagnosesText(descriptor),
              "warning at 35, Input: more elements than the limit leaves room for, left out: 252\n");
}

TEST(ElementLimits, ARangeOfFourBillionUsagesIsBoundedForArraysBitsAndValues)
{
    for (const char* main : {"81 00", "81 02", "75 08 81 02"}) {
        Descriptor descriptor =
            read(inApplication("1B 00 00 00 00 2B FF FF FF FF " + std::string(main) + " 09 30 81 02"), {});
        const ElementTree tree = buildElementTree(descriptor);
        EXPECT_EQ(tree.elements.size(), Limits{}.elements) << main;
        // The field behind it is whole.
        EXPECT_TRUE(std::any_of(tree.elements.begin(), tree.elements.end(), [](const Element& element) {
            return element.role == ElementRole::field && element.usage == 0x30 && element.usagePage == 1 &&
                   element.bitOffset != kNoBitOffset;
        })) << main;
    }
}

TEST(ElementLimits, CollectionsAndHandlersAreBoundedToo)
{
    Limits limits;
    limits.elements = 4;
    Descriptor descriptor =
        read("05 01 09 05 A1 01 A1 02 A1 02 A1 02 15 00 25 01 75 01 95 01 85 01 09 30 81 02 85 02 09 31 "
             "81 02 C0 C0 C0 C0",
             limits);
    const ElementTree tree = buildElementTree(descriptor, limits);
    EXPECT_EQ(treeText(tree), "1 collection 1:5 type 1\n"
                              "  2 collection 1:0 type 2\n"
                              "    3 collection 1:0 type 2\n");
    limits.elements = 0;
    EXPECT_EQ(buildElementTree(descriptor, limits).elements.size(), 1U);
}

} // namespace
} // namespace qrx::hid
