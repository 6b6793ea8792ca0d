#include "WorldTest.h"

#include "QrxHIDCapability.h"
#include "QrxHIDCollection.h"
#include "QrxHIDDevice.h"
#include "QrxHIDReport.h"

#include <sstream>

using world::Sample;

namespace {

using WorldDeviceTreeTest = WorldTest;

std::string elementText(const QrxHIDElement& element, const std::string& indent)
{
    std::ostringstream text;
    text << std::hex;
    if (const auto* collection = dynamic_cast<const QrxHIDCollection*>(&element)) {
        text << indent << "collection " << collection->getUsagePage() << "/" << collection->getUsage() << " if "
             << collection->getInterfaceNumber() << " id " << collection->getReportID() << "\n";
        for (unsigned int index = 0; index < collection->getElementCount(); ++index) {
            text << elementText(*collection->getElementAtIndex(index), indent + "  ");
        }
        return text.str();
    }
    const auto& field = dynamic_cast<const QrxHIDCapability&>(element);
    text << indent << field.getUsagePage() << "/" << field.getUsage() << " type " << field.getType() << " id "
         << field.getReportID() << " " << field.getReportSize() << "x" << field.getReportCount() << " ["
         << field.getMinValue() << ", " << field.getMaxValue() << "]" << (field.isRelative() ? " relative" : "")
         << "\n";
    return text.str();
}

std::string elementsOf(const QrxHIDDevice& device)
{
    std::string text;
    for (unsigned int index = 0; index < device.getElementCount(); ++index) {
        text += elementText(*device.getElementAtIndex(index), "");
    }
    return text;
}

std::string reportsOf(const QrxHIDDevice& device)
{
    std::ostringstream text;
    for (unsigned int index = 0; index < device.getReportCount(); ++index) {
        const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(index);
        text << "if " << report->getInterfaceNumber() << " id " << report->getReportID() << ": "
             << report->getReportSize() << " bits, type " << report->getReportType() << ", "
             << report->getCapabilityCount() << " fields\n";
    }
    return text.str();
}

} // namespace

TEST_P(WorldDeviceTreeTest, PopulateAddsWhatMatchesInOrderOfArrival)
{
    ground->addDevice(description(0x1111, 1, {Sample::kMouse}));
    ground->addDevice(description(0x2222, 1, {Sample::kMouse}));
    ground->addDevice(description(0x1111, 2, {Sample::kPedal}));
    tree->populate({{0x1111, 0}});
    EXPECT_EQ(joined(told.lines), "1111:0001\n1111:0002\n");
    ASSERT_EQ(tree->getHIDDeviceCount(), 2U);
    EXPECT_EQ(tree->getDeviceAtIndex(1)->getProductID(), 2U);
}

TEST_P(WorldDeviceTreeTest, AnEmptyListAcceptsNothing)
{
    ground->addDevice(description(0x1111, 1, {Sample::kMouse}));
    tree->populate(IDs{});
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
}

TEST_P(WorldDeviceTreeTest, ADeviceAnswersItsIdentity)
{
    ground->addDevice(description(0x1111, 0x2222, {Sample::kMouse}));
    tree->populate({{0, 0}});
    const mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(0);
    EXPECT_EQ(device->getVendorID(), 0x1111U);
    EXPECT_EQ(device->getProductID(), 0x2222U);
    EXPECT_EQ(device->getReleaseNumber(), 0x0102U);
    EXPECT_EQ(device->getVendorName(), "Acme");
    EXPECT_EQ(device->getProductName(), "Widget");
    EXPECT_TRUE(device->isHID());
    EXPECT_EQ(device->getDeviceTree(), tree);
}

TEST_P(WorldDeviceTreeTest, SizesAndUsagesAreAnsweredPerInterfaceAndForTheWholeDevice)
{
    ground->addDevice(description(1, 1, {Sample::kMouse, Sample::kVendor}));
    tree->populate({{0, 0}});
    const mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(0);
    EXPECT_EQ(device->getInputReportSize(0), 4U);
    EXPECT_EQ(device->getInputReportSize(1), 64U);
    EXPECT_EQ(device->getInputReportSize(), 64U);
    EXPECT_EQ(device->getOutputReportSize(1), 8U);
    EXPECT_EQ(device->getFeatureReportSize(), 4U);
    EXPECT_EQ(device->getPrimaryUsagePage(1), 0xFF00U);
    EXPECT_EQ(device->getPrimaryUsage(0), 2U);
    EXPECT_EQ(device->getInputReportSize(2), 0U);
    EXPECT_EQ(device->getInputReportSize(-1), 0U);
    EXPECT_EQ(device->getPrimaryUsage(-1), 0U);
}

TEST_P(WorldDeviceTreeTest, TheElementsOfAMouseFormItsTree)
{
    ground->addDevice(description(1, 1, {Sample::kMouse}));
    tree->populate({{0, 0}});
    EXPECT_EQ(elementsOf(*tree->getDeviceAtIndex(0)), "collection 1/2 if 0 id 0\n"
                                                      "  collection 1/1 if 0 id 0\n"
                                                      "    9/1 type 2 id 0 1x1 [0, 1]\n"
                                                      "    9/2 type 2 id 0 1x1 [0, 1]\n"
                                                      "    9/3 type 2 id 0 1x1 [0, 1]\n"
                                                      "    1/30 type 1 id 0 8x1 [ffffff81, 7f] relative\n"
                                                      "    1/31 type 1 id 0 8x1 [ffffff81, 7f] relative\n"
                                                      "    1/38 type 1 id 0 8x1 [ffffff81, 7f] relative\n");
}

TEST_P(WorldDeviceTreeTest, ElementsOfSeveralInterfacesFollowEachOtherAndKnowTheirInterface)
{
    ground->addDevice(description(1, 1, {Sample::kPedal, Sample::kPedal}));
    tree->populate({{0, 0}});
    const mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(0);
    EXPECT_EQ(elementsOf(*device), "collection 1/4 if 0 id 0\n"
                                   "  9/1 type 2 id 0 1x1 [0, 1]\n"
                                   "  9/2 type 2 id 0 1x1 [0, 1]\n"
                                   "  9/3 type 2 id 0 1x1 [0, 1]\n"
                                   "collection 1/4 if 1 id 0\n"
                                   "  9/1 type 2 id 0 1x1 [0, 1]\n"
                                   "  9/2 type 2 id 0 1x1 [0, 1]\n"
                                   "  9/3 type 2 id 0 1x1 [0, 1]\n");
    EXPECT_EQ(device->getElementAtIndex(1)->getDevice(), device);
    EXPECT_FALSE(device->getElementAtIndex(2));
}

TEST_P(WorldDeviceTreeTest, ReportsAreGroupedByIdAndInterface)
{
    ground->addDevice(description(1, 1, {Sample::kMouse, Sample::kVendor}));
    tree->populate({{0, 0}});
    EXPECT_EQ(reportsOf(*tree->getDeviceAtIndex(0)), "if 0 id 0: 32 bits, type 1, 6 fields\n"
                                                     "if 1 id 1: 512 bits, type 1, 1 fields\n"
                                                     "if 1 id 2: 8 bits, type 1, 8 fields\n"
                                                     "if 1 id 3: 8 bits, type 1, 4 fields\n");
}

TEST_P(WorldDeviceTreeTest, ArrivalsAndRemovalsFollowWhileTheTreeObserves)
{
    const auto first = ground->addDevice(description(1, 1, {Sample::kMouse}));
    tree->observe({{0, 0}});
    EXPECT_EQ(joined(told.lines), "0001:0001\n");
    ground->addDevice(description(1, 2, {Sample::kMouse}));
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U) << "nothing arrives before the run loop runs";
    ground->pump();
    EXPECT_EQ(joined(told.lines), "0001:0001\n0001:0002\n");

    const mis::swizzler<QrxHIDDevice> kept = tree->getDeviceAtIndex(0);
    testing::internal::CaptureStdout();
    ground->removeDevice(first);
    ground->pump();
    std::cout.flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "device notification: id 2\n");
    ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(tree->getDeviceAtIndex(0)->getProductID(), 2U);
    EXPECT_EQ(kept->getProductID(), 1U) << "a removed device that is kept still answers";
}

TEST_P(WorldDeviceTreeTest, SeveralBurstsAreAllSeen)
{
    tree->observe({{0, 0}});
    for (int product = 1; product <= 6; product += 2) {
        ground->addDevice(description(1, product, {Sample::kMouse}));
        ground->addDevice(description(1, product + 1, {Sample::kMouse}));
        ground->pump();
    }
    EXPECT_EQ(told.lines.size(), 6U);
}

TEST_P(WorldDeviceTreeTest, ObservingAfterPopulatingTellsOfNothingTwice)
{
    ground->addDevice(description(1, 1, {Sample::kMouse}));
    tree->populate({{0, 0}});
    tree->observe({{0, 0}});
    ground->pump();
    EXPECT_EQ(joined(told.lines), "0001:0001\n");
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
}

TEST_P(WorldDeviceTreeTest, ASecondObserveOnlyChangesWhatIsAcceptedFromThenOn)
{
    ground->addDevice(description(1, 1, {Sample::kMouse}));
    tree->observe({{1, 0}});
    tree->observe({{2, 0}});
    ground->addDevice(description(1, 2, {Sample::kMouse}));
    ground->addDevice(description(2, 3, {Sample::kMouse}));
    ground->pump();
    EXPECT_EQ(joined(told.lines), "0001:0001\n0002:0003\n");
}

TEST_P(WorldDeviceTreeTest, ADeviceThatComesBackIsANewOne)
{
    tree->observe({{0, 0}});
    const auto first = ground->addDevice(description(1, 1, {Sample::kMouse}));
    ground->pump();
    const mis::swizzler<QrxHIDDevice> old = tree->getDeviceAtIndex(0);
    testing::internal::CaptureStdout();
    ground->removeDevice(first);
    ground->addDevice(description(1, 1, {Sample::kMouse}));
    ground->pump();
    testing::internal::GetCapturedStdout();
    ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_FALSE(*tree->getDeviceAtIndex(0) == *old);
}

INSTANTIATE_TEST_SUITE_P(Input, WorldDeviceTreeTest,
                         testing::Values(world::InputMode::kInterrupt, world::InputMode::kQueue), [](const auto& mode) {
                             return mode.param == world::InputMode::kQueue ? "ByQueue" : "ByInterrupt";
                         });
