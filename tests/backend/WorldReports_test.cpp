#include "WorldTest.h"

#include "QrxHIDDevice.h"

#include <algorithm>
#include <numeric>

using world::Bytes;
using world::Sample;

namespace {

/// One device with a mouse, a vendor part and a pedal, opened, with a delegate that writes down what it is told.
class WorldReportsTest : public WorldTest {
protected:
    WorldReportsTest()
    {
        plugged = ground->addDevice(description(1, 1, {Sample::kMouse, Sample::kVendor, Sample::kPedal}));
        tree->observe({{0, 0}});
        device = tree->getDeviceAtIndex(0);
        device->setDelegate(new RecordingDeviceDelegate(record));
        device->open();
    }
    void TearDown() override
    {
        if (device) {
            device->close();
        }
    }

    world::BackendWorld::Device plugged = 0;
    mis::swizzler<QrxHIDDevice> device;
};

Bytes vendorReport()
{
    Bytes report(64);
    std::iota(report.begin(), report.end(), std::uint8_t{1});
    return report;
}

} // namespace

TEST_P(WorldReportsTest, InputArrivesByteForByteWithItsInterface)
{
    ground->deliverInput(plugged, 0, {1, 0x80, 0x7f, 0xff});
    ground->deliverInput(plugged, 2, {5});
    ground->pump();
    std::vector<std::string> lines = record.lines;
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(joined(lines), "input 0: 01 80 7f ff\ninput 2: 05\n");
}

TEST_P(WorldReportsTest, ANumberedReportKeepsItsNumber)
{
    ground->deliverInput(plugged, 1, vendorReport());
    ground->pump();
    ASSERT_EQ(record.lines.size(), 1U);
    EXPECT_EQ(record.lines[0], "input 1: " + hexText(bytesOf(vendorReport())));
}

TEST_P(WorldReportsTest, ReportsOfOneInterfaceKeepTheirOrder)
{
    for (std::uint8_t index = 0; index < 8; ++index) {
        ground->deliverInput(plugged, 2, {index});
    }
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 2: 00\ninput 2: 01\ninput 2: 02\ninput 2: 03\n"
                                    "input 2: 04\ninput 2: 05\ninput 2: 06\ninput 2: 07\n");
}

TEST_P(WorldReportsTest, NothingArrivesAfterCloseAndInputGoesOnAfterAnotherOpen)
{
    device->close();
    ground->deliverInput(plugged, 2, {1});
    ground->pump();
    EXPECT_EQ(joined(record.lines), "");
    device->open();
    ground->deliverInput(plugged, 2, {2});
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 2: 02\n");
}

TEST_P(WorldReportsTest, AReportIsSentToItsInterfaceAfterTheDelegateWasTold)
{
    device->setReport(1, 2, bytesOf({2, 10, 11, 12, 13, 14, 15, 16}), 1);
    device->setReport(2, 3, bytesOf({3, 7, 8, 9}), 1);
    EXPECT_EQ(joined(record.lines), "set 1 2 1: 02 0a 0b 0c 0d 0e 0f 10\nset 2 3 1: 03 07 08 09\n");
    const std::vector<world::Sent> sent = ground->sentReports(plugged);
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].interfaceNumber, 1);
    EXPECT_EQ(sent[0].type, 1U);
    EXPECT_EQ(sent[0].reportID, 2U);
    EXPECT_EQ(sent[0].bytes, (Bytes{2, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(sent[1].type, 2U);
    EXPECT_EQ(sent[1].bytes, (Bytes{3, 7, 8, 9}));
}

TEST_P(WorldReportsTest, AReportForAMissingInterfaceIsToldButNotSent)
{
    device->setReport(1, 2, bytesOf({2, 1, 1, 1, 1, 1, 1, 1}), 9);
    device->setReport(1, 2, bytesOf({2, 1, 1, 1, 1, 1, 1, 1}), -1);
    EXPECT_EQ(joined(record.lines), "set 1 2 9: 02 01 01 01 01 01 01 01\nset 1 2 -1: 02 01 01 01 01 01 01 01\n");
    EXPECT_TRUE(ground->sentReports(plugged).empty());
}

TEST_P(WorldReportsTest, AnEmptyReportIsNotSent)
{
    device->setReport(1, 2, {}, 1);
    EXPECT_EQ(joined(record.lines), "set 1 2 1: \n");
    EXPECT_TRUE(ground->sentReports(plugged).empty());
}

TEST_P(WorldReportsTest, NothingIsSentOnceTheDeviceWasUnpluggedAndClosedAndDropped)
{
    testing::internal::CaptureStdout();
    ground->removeDevice(plugged);
    ground->pump();
    testing::internal::GetCapturedStdout();
    device->close();
    EXPECT_EQ(joined(record.lines), "");
    device.release();
    EXPECT_EQ(joined(record.lines), "deleted\n");
}

TEST_P(WorldReportsTest, TwoDevicesDoNotHearEachOther)
{
    const auto other = ground->addDevice(description(2, 2, {Sample::kPedal}));
    ground->pump();
    const mis::swizzler<QrxHIDDevice> second = tree->getDeviceAtIndex(1);
    second->setDelegate(new RecordingDeviceDelegate(otherRecord));
    second->open();
    ground->deliverInput(other, 0, {3});
    ground->deliverInput(plugged, 2, {4});
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 2: 04\n");
    EXPECT_EQ(joined(otherRecord.lines), "input 0: 03\n");
    second->close();
}

INSTANTIATE_TEST_SUITE_P(Input, WorldReportsTest,
                         testing::Values(world::InputMode::kInterrupt, world::InputMode::kQueue), [](const auto& mode) {
                             return mode.param == world::InputMode::kQueue ? "ByQueue" : "ByInterrupt";
                         });
