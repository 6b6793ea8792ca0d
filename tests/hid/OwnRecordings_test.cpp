// The recordings that the project owns: read without fault, and their events mean what the comments say.

#include "DescriptorText.h"
#include "RecordedDevice.h"
#include "TreeInvariants.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace qrx::hid {
namespace {

const std::filesystem::path kData = QRX_TEST_DATA;

struct Interface {
    RecordedInterface recorded;
    Descriptor descriptor;
    ElementTree tree;
};

Interface interfaceOf(const std::string& file, std::size_t index = 0)
{
    Interface interface;
    interface.recorded = readRecording(kData / file).at(index);
    interface.descriptor = parseReportDescriptor(interface.recorded.descriptor);
    interface.tree = buildElementTree(interface.descriptor);
    return interface;
}

/// "page:usage=value" of the placed input fields that are not 0, in cookie order.
std::string valuesText(const Interface& interface, std::size_t event)
{
    const std::vector<std::uint8_t>& report = interface.recorded.events.at(event);
    const std::uint32_t id = interface.tree.usesReportIDs ? report.at(0) : 0;
    std::string text;
    for (const Element& element : interface.tree.elements) {
        const bool isInput = element.type == ElementType::inputButton || element.type == ElementType::inputMisc;
        const bool isSingle = element.role == ElementRole::arraySlot ||
                              (element.role == ElementRole::field && element.reportCount == 1) ||
                              (element.role == ElementRole::arrayHead && element.reportCount == 1);
        if (!isInput || !isSingle || element.reportID != id)
            continue;
        const std::int32_t value =
            extractValue(report, element.bitOffset, element.reportSize, element.min < 0 || element.max < 0);
        if (value == 0)
            continue;
        char entry[48];
        std::snprintf(entry, sizeof entry, "%s%x:%x=%d", text.empty() ? "" : " ", element.usagePage, element.usage,
                      value);
        text += entry;
    }
    return text;
}

TEST(OwnRecordings, AllAreReadWithoutErrorAndEventsFitTheirReports)
{
    std::size_t count = 0;
    for (const auto& file : recordingsIn(kData)) {
        for (const RecordedInterface& recorded : readRecording(file)) {
            SCOPED_TRACE(file.filename().string() + ": " + hexOf(recorded.descriptor));
            ++count;
            Descriptor descriptor = parseReportDescriptor(recorded.descriptor);
            const ElementTree tree = buildElementTree(descriptor);
            EXPECT_FALSE(descriptor.hasErrors()) << diagnosesText(descriptor);
            EXPECT_TRUE(tree.hasFields);
            EXPECT_EQ(brokenInvariant(descriptor, tree), "") << fieldsText(descriptor);
            for (const auto& event : recorded.events) {
                EXPECT_FALSE(event.empty());
                EXPECT_LE(event.size(), tree.maxInputReportSize) << hexOf(event);
            }
        }
    }
    EXPECT_GE(count, 5U);
}

TEST(OwnRecordings, TheKeyboardsEventsArePressedKeys)
{
    const Interface keyboard = interfaceOf("boot-keyboard.hid");
    EXPECT_EQ(valuesText(keyboard, 0), "7:e1=1 7:ffffffff=4");
    EXPECT_EQ(valuesText(keyboard, 1), "");
    EXPECT_EQ(valuesText(keyboard, 2), "7:ffffffff=5 7:ffffffff=6");
}

TEST(OwnRecordings, TheMousesMovesAreSigned)
{
    const Interface mouse = interfaceOf("wheel-mouse.hid");
    EXPECT_EQ(valuesText(mouse, 0), "1:30=5 1:31=-1");
    EXPECT_EQ(valuesText(mouse, 2), "9:1=1");
    EXPECT_EQ(valuesText(mouse, 5), "1:30=-127 1:31=127 1:38=1");
}

TEST(OwnRecordings, TheGamepadsFieldsLieOffTheByteGrid)
{
    const Interface pad = interfaceOf("gamepad-hat.hid");
    EXPECT_EQ(valuesText(pad, 1), "9:1=1 9:c=1 1:30=255 1:31=128 1:33=128 1:34=128 1:39=2");
    EXPECT_EQ(valuesText(pad, 3), "1:30=128 1:31=128 1:33=128 1:34=128 1:39=8 2:c5=564 2:c4=4");
    EXPECT_EQ(pad.tree.maxOutputReportSize, 2U);
}

TEST(OwnRecordings, TheVendorDevicesNumberedReportsAreToldApart)
{
    const Interface vendor = interfaceOf("vendor-composite.hid", 0);
    EXPECT_EQ(vendor.tree.maxInputReportSize, 64U);
    EXPECT_EQ(vendor.tree.maxOutputReportSize, 8U);
    EXPECT_EQ(vendor.tree.maxFeatureReportSize, 5U);
    EXPECT_EQ(vendor.tree.reportHandlers.size(), 4U);
    const auto samples = std::find_if(vendor.tree.elements.begin(), vendor.tree.elements.end(),
                                      [](const Element& element) { return element.usage == 0x11; });
    ASSERT_NE(samples, vendor.tree.elements.end());
    EXPECT_EQ(elementText(*samples),
              "67 field ffa0:11 id 4 2*16 at 8 flags 2 -32768..32767 (-1024..1023) unit 10001^14");
    EXPECT_EQ(extractValue(vendor.recorded.events.at(1), 24, 16, true), -32768);

    const Interface keys = interfaceOf("vendor-composite.hid", 1);
    EXPECT_EQ(valuesText(keys, 0), "c:ffffffff=233");
    EXPECT_EQ(valuesText(keys, 2), "c:e9=1 c:e2=1 b:2f=1");
}

} // namespace
} // namespace qrx::hid
