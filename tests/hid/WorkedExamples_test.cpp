// Whole devices, from bytes to the text of the tree: what an application is shown.

#include "DescriptorText.h"

#include <gtest/gtest.h>

namespace qrx::hid {
namespace {

struct Device {
    Descriptor descriptor;
    ElementTree tree;
};

Device read(std::string_view hex)
{
    Device device;
    device.descriptor = parseReportDescriptor(bytesOf(hex));
    device.tree = buildElementTree(device.descriptor);
    return device;
}

TEST(WorkedExamples, AMouseHasItsButtonsBeforeItsAxesAndNoPadding)
{
    const Device mouse =
        read("05 01 09 02 A1 01 09 01 A1 00 05 09 19 01 29 03 15 00 25 01 95 03 75 01 81 02 95 01 75 05 "
             "81 01 05 01 09 30 09 31 09 38 15 81 25 7F 75 08 95 03 81 06 C0 C0");
    EXPECT_EQ(treeText(mouse.tree), "1 collection 1:2 type 1\n"
                                    "  2 collection 1:1 type 0\n"
                                    "    3 button 9:1 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0\n"
                                    "    4 button 9:2 id 0 1*1 at 1 flags 2 0..1 (0..1) unit 0^0\n"
                                    "    5 button 9:3 id 0 1*1 at 2 flags 2 0..1 (0..1) unit 0^0\n"
                                    "    6 field 1:30 id 0 1*8 at 8 flags 6 -127..127 (-127..127) unit 0^0\n"
                                    "    7 field 1:31 id 0 1*8 at 16 flags 6 -127..127 (-127..127) unit 0^0\n"
                                    "    8 field 1:38 id 0 1*8 at 24 flags 6 -127..127 (-127..127) unit 0^0\n"
                                    "9 handler 0:0 id 0 1*32\n");
    EXPECT_EQ(mouse.tree.maxInputReportSize, 4U);
    EXPECT_EQ(mouse.tree.maxOutputReportSize, 0U);
    EXPECT_EQ(mouse.tree.maxFeatureReportSize, 0U);
    EXPECT_EQ(mouse.tree.primaryUsage, (UsagePair{1, 2}));
    EXPECT_EQ(mouse.tree.usagePairs, (std::vector<UsagePair>{{1, 2}, {1, 1}}));
    EXPECT_EQ(diagnosesText(mouse.descriptor), "");
}

TEST(WorkedExamples, ABootKeyboardHasOneSelectorForEachDeclaredKey)
{
    const Device keyboard =
        read("05 01 09 06 A1 01 05 07 19 E0 29 E7 15 00 25 01 75 01 95 08 81 02 95 01 75 08 81 01 95 "
             "05 75 01 05 08 19 01 29 05 91 02 95 01 75 03 91 01 95 06 75 08 15 00 25 65 05 07 19 "
             "00 29 65 81 00 C0");
    const auto& elements = keyboard.tree.elements;
    // The root, the collection, 8 modifiers, head, 6 slots, 102 selectors, 5 LEDs, the handler.
    ASSERT_EQ(elements.size(), 125U);
    EXPECT_EQ(elementText(elements[2]), "2 button 7:e0 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0");
    EXPECT_EQ(elementText(elements[9]), "9 button 7:e7 id 0 1*1 at 7 flags 2 0..1 (0..1) unit 0^0");
    EXPECT_EQ(elementText(elements[10]), "10 array 7:none id 0 6*8 at 16 flags 0 0..101 (0..101) unit 0^0");
    EXPECT_EQ(elements[10].sizeBits(), 48U);
    EXPECT_EQ(elements[10].type, ElementType::inputButton);
    EXPECT_EQ(elementText(elements[11]), "11 slot 7:none id 0 1*8 at 16 flags 0 0..101 (0..101) unit 0^0 index 0");
    EXPECT_EQ(elementText(elements[16]), "16 slot 7:none id 0 1*8 at 56 flags 0 0..101 (0..101) unit 0^0 index 5");
    for (std::uint32_t key = 0; key <= 0x65; ++key) {
        const Element& selector = elements[17 + key];
        EXPECT_EQ(selector.role, ElementRole::arraySelector);
        EXPECT_EQ(selector.usage, key);
    }
    EXPECT_EQ(elementText(elements[118]), "118 selector 7:65 id 0 1*1 at 16 flags 0 0..1 (0..1) unit 0^0");
    EXPECT_EQ(elementText(elements[119]), "119 field 8:1 output id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0");
    EXPECT_EQ(elementText(elements[123]), "123 field 8:5 output id 0 1*1 at 4 flags 2 0..1 (0..1) unit 0^0");
    EXPECT_EQ(elementText(elements[124]), "124 handler 0:0 id 0 1*64");
    EXPECT_EQ(elements[1].children.size(), 122U);
    EXPECT_EQ(keyboard.tree.maxInputReportSize, 8U);
    EXPECT_EQ(keyboard.tree.maxOutputReportSize, 1U);
}

TEST(WorkedExamples, AVendorDeviceWithReportNumbersHasAHandlerForEachOfThem)
{
    const Device vendor =
        read("06 00 FF 09 01 A1 01 85 01 09 02 15 00 26 FF 00 75 08 95 3F 81 02 85 02 09 03 95 07 91 02 "
             "85 03 09 04 95 03 B1 02 C0");
    EXPECT_EQ(treeText(vendor.tree),
              "1 collection ff00:1 type 1\n"
              "  2 field ff00:2 id 1 63*8 at 8 flags 2 0..255 (0..255) unit 0^0\n"
              "  66 field ff00:3 output id 2 7*8 at 8 flags 2 0..255 (0..255) unit 0^0\n"
              "  67 duplicate ff00:3 output id 2 1*8 at 8 flags 2 0..255 (0..255) unit 0^0 index 0\n"
              "  68 duplicate ff00:3 output id 2 1*8 at 16 flags 2 0..255 (0..255) unit 0^0 index 1\n"
              "  69 duplicate ff00:3 output id 2 1*8 at 24 flags 2 0..255 (0..255) unit 0^0 index 2\n"
              "  70 duplicate ff00:3 output id 2 1*8 at 32 flags 2 0..255 (0..255) unit 0^0 index 3\n"
              "  71 duplicate ff00:3 output id 2 1*8 at 40 flags 2 0..255 (0..255) unit 0^0 index 4\n"
              "  72 duplicate ff00:3 output id 2 1*8 at 48 flags 2 0..255 (0..255) unit 0^0 index 5\n"
              "  73 duplicate ff00:3 output id 2 1*8 at 56 flags 2 0..255 (0..255) unit 0^0 index 6\n"
              "  74 field ff00:4 feature id 3 3*8 at 8 flags 2 0..255 (0..255) unit 0^0\n"
              "  75 duplicate ff00:4 feature id 3 1*8 at 8 flags 2 0..255 (0..255) unit 0^0 index 0\n"
              "  76 duplicate ff00:4 feature id 3 1*8 at 16 flags 2 0..255 (0..255) unit 0^0 index 1\n"
              "  77 duplicate ff00:4 feature id 3 1*8 at 24 flags 2 0..255 (0..255) unit 0^0 index 2\n"
              "78 handler 0:0 id 1 1*512\n"
              "79 handler 0:0 id 2 1*8\n"
              "80 handler 0:0 id 3 1*8\n");
    EXPECT_EQ(vendor.tree.maxInputReportSize, 64U);
    EXPECT_EQ(vendor.tree.maxOutputReportSize, 8U);
    EXPECT_EQ(vendor.tree.maxFeatureReportSize, 4U);
}

TEST(WorkedExamples, ANestedCollectionIsListedBeforeTheFieldsAndBorrowsNoLaterUsage)
{
    const Device joystick =
        read("05 01 09 04 A1 01 09 30 09 31 15 00 25 FF 75 08 95 02 81 02 A1 02 05 09 09 01 81 02 C0 C0");
    EXPECT_EQ(treeText(joystick.tree), "1 collection 1:4 type 1\n"
                                       "  2 collection 1:0 type 2\n"
                                       "    5 field 9:1 id 0 2*8 at 16 flags 2 0..255 (0..255) unit 0^0\n"
                                       "    6 duplicate 9:1 id 0 1*8 at 16 flags 2 0..255 (0..255) unit 0^0 index 0\n"
                                       "    7 duplicate 9:1 id 0 1*8 at 24 flags 2 0..255 (0..255) unit 0^0 index 1\n"
                                       "  3 field 1:30 id 0 1*8 at 0 flags 2 0..255 (0..255) unit 0^0\n"
                                       "  4 field 1:31 id 0 1*8 at 8 flags 2 0..255 (0..255) unit 0^0\n"
                                       "8 handler 0:0 id 0 1*32\n");
}

} // namespace
} // namespace qrx::hid
