/// Virtual devices whose interfaces are of several kinds.

#include "LibraryTest.h"

namespace {

using MixedInterfaces = LibraryTest;

QrxVirtualDevice deviceOf(const std::vector<Bytes>& descriptors)
{
    std::vector<QrxVirtualInterface> interfaces;
    for (const Bytes& descriptor : descriptors) {
        interfaces.push_back({static_cast<int>(interfaces.size()), descriptor});
    }
    return QrxVirtualDevice({}, interfaces);
}

/// One byte of input, and no other report.
const Bytes kInputOnly{
    0x06, 0x00, 0xff, // Usage Page (vendor 0xFF00)
    0x09, 0x01,       // Usage (1)
    0xa1, 0x01,       // Collection (Application)
    0x15, 0x00,       //   Logical Minimum (0)
    0x25, 0x7f,       //   Logical Maximum (127)
    0x75, 0x08,       //   Report Size (8)
    0x95, 0x01,       //   Report Count (1)
    0x09, 0x02,       //   Usage (2)
    0x81, 0x02,       //   Input (Data, Variable, Absolute)
    0xc0              // End Collection
};
/// Three bytes of output, and no other report.
const Bytes kOutputOnly{
    0x06, 0x00, 0xff, // Usage Page (vendor 0xFF00)
    0x09, 0x01,       // Usage (1)
    0xa1, 0x01,       // Collection (Application)
    0x15, 0x00,       //   Logical Minimum (0)
    0x25, 0x7f,       //   Logical Maximum (127)
    0x75, 0x08,       //   Report Size (8)
    0x95, 0x03,       //   Report Count (3)
    0x09, 0x02,       //   Usage (2)
    0x91, 0x02,       //   Output (Data, Variable, Absolute)
    0xc0              // End Collection
};

TEST_F(MixedInterfaces, OneHIDInterfaceMakesAHIDDeviceWhereverItStands)
{
    for (const auto& descriptors : {std::vector<Bytes>{kInputOnly, {}}, {{}, kInputOnly}, {{}, kInputOnly, {}}}) {
        QrxVirtualDevice device = deviceOf(descriptors);
        device.plug();
        const TreeHandle tree = populatedTree();
        ASSERT_EQ(1u, tree->getHIDDeviceCount());
        EXPECT_TRUE(tree->getDeviceAtIndex(0)->isHID());
    }
}

TEST_F(MixedInterfaces, ReportsComeByNumberAndInterfaceWithTheirFieldsInOrderHoweverTheDescriptorMixesThem)
{
    // A byte of usage 1 in report 3, of 2 in report 1, of 3 in report 3, of 4 in report 2, of 5 in report 1.
    const Bytes mixed{
        0x06, 0x00, 0xff, // Usage Page (vendor 0xFF00)
        0x09, 0x7f,       // Usage (0x7F)
        0xa1, 0x01,       // Collection (Application)
        0x15, 0x00,       //   Logical Minimum (0)
        0x25, 0x7f,       //   Logical Maximum (127)
        0x75, 0x08,       //   Report Size (8)
        0x95, 0x01,       //   Report Count (1)
        0x85, 0x03,       //   Report ID (3)
        0x09, 0x01,       //   Usage (1)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0x85, 0x01,       //   Report ID (1)
        0x09, 0x02,       //   Usage (2)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0x85, 0x03,       //   Report ID (3)
        0x09, 0x03,       //   Usage (3)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0x85, 0x02,       //   Report ID (2)
        0x09, 0x04,       //   Usage (4)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0x85, 0x01,       //   Report ID (1)
        0x09, 0x05,       //   Usage (5)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0xc0              // End Collection
    };
    QrxVirtualDevice device = deviceOf({mixed, mixed});
    device.plug();
    const TreeHandle tree = populatedTree();
    ASSERT_EQ(1u, tree->getHIDDeviceCount());
    const DeviceHandle found = tree->getDeviceAtIndex(0);
    std::string text;
    for (unsigned int index = 0; index < found->getReportCount(); ++index) {
        const mis::swizzler<QrxHIDReport> report = found->getReportAtIndex(index);
        text += std::to_string(report->getReportID()) + " of " + std::to_string(report->getInterfaceNumber()) + ":";
        for (unsigned int field = 0; field < report->getCapabilityCount(); ++field) {
            text += " " + std::to_string(report->getCapabilityAtIndex(field)->getUsage());
        }
        text += "; ";
    }
    EXPECT_EQ("1 of 0: 2 5; 1 of 1: 2 5; 2 of 0: 4; 2 of 1: 4; 3 of 0: 1 3; 3 of 1: 1 3; ", text);
}

TEST_F(MixedInterfaces, ADevicesReportSizesAreTheLargestOfItsInterfacesAndNothingWithoutAReport)
{
    QrxVirtualDevice device = deviceOf({kInputOnly, kOutputOnly, kInputOnly});
    device.plug();
    const TreeHandle tree = populatedTree();
    ASSERT_EQ(1u, tree->getHIDDeviceCount());
    const DeviceHandle found = tree->getDeviceAtIndex(0);
    EXPECT_EQ(1u, found->getInputReportSize());
    EXPECT_EQ(3u, found->getOutputReportSize());
    EXPECT_EQ(0u, found->getFeatureReportSize());
    EXPECT_EQ(0u, found->getOutputReportSize(0));
    EXPECT_EQ(3u, found->getOutputReportSize(1));
    EXPECT_EQ(0u, found->getInputReportSize(1));
    EXPECT_EQ(1u, found->getInputReportSize(2));
    EXPECT_EQ(0u, found->getFeatureReportSize(0));
    EXPECT_EQ(0u, found->getInputReportSize(3)) << "no such interface";
    EXPECT_EQ(0u, found->getOutputReportSize(3));
    EXPECT_EQ(0u, found->getFeatureReportSize(3));
}

} // namespace
