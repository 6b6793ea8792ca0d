#include "WorldTest.h"

#include "QrxHIDDevice.h"

#include <stdexcept>

using world::Sample;

namespace {

/// What an application may do inside a callback.
class WorldLifetimeTest : public WorldTest {
protected:
    /// Plugs in a pedal on interface 0, takes it from the tree and opens it.
    void openPedal()
    {
        plugged = ground->addDevice(description(1, 1, {Sample::kPedal}));
        tree->populate({{1, 1}});
        device = tree->getDeviceAtIndex(0);
        device->setDelegate(new RecordingDeviceDelegate(record));
        device->open();
    }
    void press(std::uint8_t buttons) { ground->deliverInput(plugged, 0, {buttons}); }

    world::BackendWorld::Device plugged = 0;
    mis::swizzler<QrxHIDDevice> device;
};

} // namespace

TEST_P(WorldLifetimeTest, ClosingInsideHandleReportEndsInputAtOnce)
{
    openPedal();
    record.onReport = [this] { device->close(); };
    press(1);
    press(2);
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 0: 01\n");
}

TEST_P(WorldLifetimeTest, ClosingAndOpeningInsideHandleReportKeepsTheDeviceUsable)
{
    openPedal();
    record.onReport = [this] {
        record.onReport = nullptr;
        device->close();
        device->open();
    };
    press(1);
    ground->pump();
    press(2);
    ground->pump();
    ASSERT_FALSE(record.lines.empty());
    EXPECT_EQ(record.lines.front(), "input 0: 01");
    EXPECT_EQ(record.lines.back(), "input 0: 02");
    device->close();
}

TEST_P(WorldLifetimeTest, TheLastHandleMayGoInsideHandleReport)
{
    openPedal();
    record.onReport = [this] {
        device->close();
        tree.release();
        device.release();
    };
    press(1);
    press(2);
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 0: 01\ndeleted\n");
}

TEST_P(WorldLifetimeTest, TheTreeMayGoInsideHandleReportWhileTheDeviceIsKept)
{
    openPedal();
    record.onReport = [this] { tree.release(); };
    press(1);
    ground->pump();
    press(2);
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 0: 01\ninput 0: 02\n");
    EXPECT_FALSE(device->getDeviceTree());
    device->close();
}

TEST_P(WorldLifetimeTest, TheDelegateMayBeReplacedInsideHandleReport)
{
    plugged = ground->addDevice(description(1, 1, {Sample::kPedal}));
    tree->populate({{1, 1}});
    device = tree->getDeviceAtIndex(0);
    RecordingDeviceDelegate first(record); // ours again once it is replaced
    device->setDelegate(&first);
    device->open();
    record.onReport = [this] { device->setDelegate(new RecordingDeviceDelegate(otherRecord)); };
    press(1);
    press(2);
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 0: 01\n") << "a replaced delegate is not deleted, and not told any more";
    EXPECT_EQ(joined(otherRecord.lines), "input 0: 02\n");
    device->close();
    device.release();
    tree.release();
    EXPECT_EQ(joined(otherRecord.lines), "input 0: 02\ndeleted\n");
}

TEST_P(WorldLifetimeTest, AnExceptionOfHandleReportLeavesThroughTheRunLoopAndInputGoesOn)
{
    openPedal();
    record.onReport = [this] {
        record.onReport = nullptr;
        throw std::runtime_error("no");
    };
    press(1);
    press(2);
    EXPECT_THROW(ground->pump(), std::runtime_error);
    press(3);
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 0: 01\ninput 0: 02\ninput 0: 03\n");
    device->close();
}

TEST_P(WorldLifetimeTest, ADeviceIsUnpluggedInsideHandleReport)
{
    tree->observe({{9, 9}});
    openPedal();
    record.onReport = [this] { ground->removeDevice(plugged); };
    press(1);
    testing::internal::CaptureStdout();
    ground->pump();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(joined(record.lines), "input 0: 01\n");
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
    device->close();
}

TEST_P(WorldLifetimeTest, TheLastHandleMayGoInsideHandleSetReport)
{
    openPedal();
    record.onSetReport = [this] {
        device->close();
        tree.release();
        device.release();
    };
    QrxHIDDevice* raw = device.get();
    raw->setReport(1, 0, bytesOf({1}), 0);
    EXPECT_EQ(joined(record.lines), "set 1 0 0: 01\ndeleted\n");
}

TEST_P(WorldLifetimeTest, AnExceptionOfHandleSetReportKeepsTheReportFromBeingSent)
{
    openPedal();
    record.onSetReport = [] { throw std::runtime_error("no"); };
    EXPECT_THROW(device->setReport(1, 0, bytesOf({1}), 0), std::runtime_error);
    EXPECT_TRUE(ground->sentReports(plugged).empty());
    device->close();
}

TEST_P(WorldLifetimeTest, TheTreeMayGoInsideDeviceAddedAndTellsNoMore)
{
    ground->addDevice(description(1, 1, {Sample::kPedal}));
    ground->addDevice(description(1, 2, {Sample::kPedal}));
    told.onAdded = [this](const mis::swizzler<QrxHIDDevice>&) { tree.release(); };
    QrxDeviceTree* raw = tree.get();
    raw->observe({{0, 0}});
    EXPECT_EQ(joined(told.lines), "0001:0001\n");
    ground->addDevice(description(1, 3, {Sample::kPedal}));
    ground->pump();
    EXPECT_EQ(joined(told.lines), "0001:0001\n");
}

TEST_P(WorldLifetimeTest, TheTreeMayGoInsideDeviceAddedFromTheRunLoop)
{
    tree->observe({{0, 0}});
    told.onAdded = [this](const mis::swizzler<QrxHIDDevice>&) { tree.release(); };
    ground->addDevice(description(1, 1, {Sample::kPedal}));
    ground->addDevice(description(1, 2, {Sample::kPedal}));
    ground->pump();
    EXPECT_EQ(joined(told.lines), "0001:0001\n");
}

TEST_P(WorldLifetimeTest, ADeviceKeptFromDeviceAddedOutlivesTheTree)
{
    ground->addDevice(description(1, 1, {Sample::kPedal}));
    told.onAdded = [this](const mis::swizzler<QrxHIDDevice>& added) {
        device = added;
        tree.release();
    };
    QrxDeviceTree* raw = tree.get();
    raw->populate({{0, 0}});
    ASSERT_TRUE(device);
    EXPECT_FALSE(device->getDeviceTree());
    EXPECT_EQ(device->getReferenceCount(), 1U);
}

TEST_P(WorldLifetimeTest, AnExceptionOfDeviceAddedReachesTheCallerAfterTheOthersWereTold)
{
    ground->addDevice(description(1, 1, {Sample::kPedal}));
    ground->addDevice(description(1, 2, {Sample::kPedal}));
    told.onAdded = [this](const mis::swizzler<QrxHIDDevice>&) {
        told.onAdded = nullptr;
        throw std::runtime_error("no");
    };
    EXPECT_THROW(tree->observe({{0, 0}}), std::runtime_error);
    EXPECT_EQ(joined(told.lines), "0001:0001\n0001:0002\n");
    const auto third = ground->addDevice(description(1, 3, {Sample::kPedal}));
    ground->pump();
    EXPECT_EQ(tree->getHIDDeviceCount(), 3U) << "arrivals are still heard of";
    testing::internal::CaptureStdout();
    ground->removeDevice(third);
    ground->pump();
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(tree->getHIDDeviceCount(), 2U) << "and removals too";
}

TEST_P(WorldLifetimeTest, OpeningInsideDeviceAddedWorks)
{
    tree->observe({{0, 0}});
    told.onAdded = [this](const mis::swizzler<QrxHIDDevice>& added) {
        device = added;
        device->setDelegate(new RecordingDeviceDelegate(record));
        device->open();
    };
    plugged = ground->addDevice(description(1, 1, {Sample::kPedal}));
    ground->pump();
    press(7);
    ground->pump();
    EXPECT_EQ(joined(record.lines), "input 0: 07\n");
    device->close();
}

TEST_P(WorldLifetimeTest, PopulatingInsideDeviceAddedTellsOfEachDeviceOnce)
{
    ground->addDevice(description(1, 1, {Sample::kPedal}));
    ground->addDevice(description(1, 2, {Sample::kPedal}));
    told.onAdded = [this](const mis::swizzler<QrxHIDDevice>&) { tree->populate({{0, 0}}); };
    tree->observe({{0, 0}});
    EXPECT_EQ(joined(told.lines), "0001:0001\n0001:0002\n");
}

TEST_P(WorldLifetimeTest, TheTreeDelegateMayBeReplacedInsideDeviceAdded)
{
    ground->addDevice(description(1, 1, {Sample::kPedal}));
    ground->addDevice(description(1, 2, {Sample::kPedal}));
    RecordingTreeDelegate second;
    told.onAdded = [&](const mis::swizzler<QrxHIDDevice>&) { tree->setDelegate(&second); };
    tree->populate({{0, 0}});
    EXPECT_EQ(joined(told.lines), "0001:0001\n");
    EXPECT_EQ(joined(second.lines), "0001:0002\n");
}

TEST_P(WorldLifetimeTest, AnOpenDeviceThatIsDroppedHearsNoMore)
{
    openPedal();
    press(1);
    device.release();
    tree.release();
    ground->pump();
    EXPECT_EQ(joined(record.lines), "deleted\n");
}

INSTANTIATE_TEST_SUITE_P(Input, WorldLifetimeTest,
                         testing::Values(world::InputMode::kInterrupt, world::InputMode::kQueue), [](const auto& mode) {
                             return mode.param == world::InputMode::kQueue ? "ByQueue" : "ByInterrupt";
                         });
