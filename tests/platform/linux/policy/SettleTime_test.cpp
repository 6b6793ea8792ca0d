/// Devices that arrive in parts, and how long they are waited for.

#include "HotPlugTest.h"

#include <filesystem>

#include <poll.h>

namespace qrx::platform {
namespace {

using std::chrono::milliseconds;
using test::composite;
using test::TreeDevice;
using test::withoutDrivers;

class SettleTime : public test::HotPlugTest {
protected:
    /// A composite device whose second report node has not come yet.
    TreeDevice plugHalf()
    {
        TreeDevice device = composite();
        device.interfaces[1].hidraw = -1;
        tree.plug(device);
        return device;
    }
};

TEST_F(SettleTime, WaitsForTheLastInterfaceWhileEventsTrickleIn)
{
    started();
    TreeDevice device = composite();
    tree.plug(withoutDrivers(device));
    tell("add usb_device", device);
    EXPECT_EQ(handled(), "");
    for (std::size_t number = 0; number < 2; ++number) {
        tell("add usb_interface", device, number);
        EXPECT_EQ(handled(), "");
        tree.bindDriver(device, device.interfaces[number]);
        tree.addHID(device, device.interfaces[number]);
        tell("add hid", device, number);
        EXPECT_EQ(handled(), "");
        tree.addNode(device, device.interfaces[number]);
        tell("add hidraw", device, number);
        EXPECT_EQ(handled(), number == 0 ? "" : "+ 1-1 hid 2\n");
        tell("bind hid", device, number);
        tell("bind usb_interface", device, number);
        EXPECT_EQ(handled(), "");
    }
    tell("bind usb_device", device);
    EXPECT_EQ(handled(), "");
}

TEST_F(SettleTime, WaitsForAnInterfaceThatIsNotEvenListedYet)
{
    started();
    TreeDevice device = composite();
    tree.plug(device);
    std::filesystem::remove_all(tree.interfacePath(device, device.interfaces[1]));
    std::filesystem::remove(tree.root() / "sys/bus/usb/devices/1-1:1.1");
    tell("bind usb_interface", device, 0);
    EXPECT_EQ(handled(), "");
    tree.addInterface(device, device.interfaces[1]);
    tell("bind usb_interface", device, 1);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, WaitsForADriverThatIsLoadedAfterTheDeviceWasBound)
{
    started();
    TreeDevice device = composite();
    tree.plug(withoutDrivers(device));
    tell("add usb_device", device);
    tell("bind usb_device", device);
    EXPECT_EQ(handled(), "");
    for (std::size_t number = 0; number < 2; ++number) {
        tree.bindDriver(device, device.interfaces[number]);
        tree.addHID(device, device.interfaces[number]);
        tree.addNode(device, device.interfaces[number]);
        tell("bind usb_interface", device, number);
    }
    EXPECT_EQ(handledAfter(kSettle - milliseconds(1)), "+ 1-1 hid 2\n");
    EXPECT_EQ(handledAfter(kSettle), "");
}

TEST_F(SettleTime, WaitsForTheNodeInTheDeviceFolder)
{
    started();
    TreeDevice device = composite();
    tree.plug(device);
    std::filesystem::remove(tree.node(1));
    tellArrival(device);
    EXPECT_EQ(handled(), "");
    test::SysfsTree::write(tree.node(1), "");
    tell("add hidraw", device, 1);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, AnnouncesWhatThereIsAfterTheSettleTime)
{
    started();
    TreeDevice device = plugHalf();
    tell("bind usb_device", device);
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(kSettle - milliseconds(1)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-1 hid 2\n");
    EXPECT_EQ(handledAfter(kSettle), "");
}

TEST_F(SettleTime, IsGivenToANameThatCannotBeRead)
{
    started();
    const TreeDevice device = composite();
    tree.plug(device);
    const std::filesystem::path name = tree.devicePath("1-1") / "product";
    std::filesystem::remove(name);
    std::filesystem::create_directory(name);
    tellArrival(device);
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 2\n");
    EXPECT_EQ(sink.at("1-1").productName, std::nullopt);
}

TEST_F(SettleTime, ShowsTheSameToRefreshAsToEvents)
{
    started();
    TreeDevice device = plugHalf();
    tell("bind usb_device", device);
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "");
    calls.advance(kSettle);
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, IsWokenWhenTheSettleTimeHasPassed)
{
    LinuxPaths quick = paths();
    quick.calls = nullptr;
    test::setWaits(quick, milliseconds(5));
    provider = makeLinuxProvider(quick);
    TreeDevice device = plugHalf();
    EXPECT_EQ(started(), "");
    pollfd poll{descriptor, POLLIN, 0};
    ASSERT_EQ(::poll(&poll, 1, 10000), 1);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, CountsTheTimeBeforeObservationAsWaitedFor)
{
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    device.connectedMs = 400;
    tree.plug(device);
    device = composite("1-2", 2);
    device.interfaces[1].hidraw = -1;
    device.connectedMs = 1000;
    tree.plug(device);
    EXPECT_EQ(started(), "+ 1-2 hid 2\n");
    EXPECT_EQ(handledAfter(milliseconds(599)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, NeverAnnouncesAHalfArrivedDeviceThatLeaves)
{
    started();
    TreeDevice device = plugHalf();
    tell("add usb_device", device);
    EXPECT_EQ(handled(), "");
    tree.unplug("1-1");
    tellRemoval(device);
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(10 * kSettle), "");
}

TEST_F(SettleTime, GivesAFreshSettleTimeToTheNextDeviceOfAPort)
{
    started();
    TreeDevice device = plugHalf();
    tell("add usb_device", device);
    EXPECT_EQ(handledAfter(kSettle / 2), "");
    tree.unplug("1-1");
    tree.plug(device);
    tellRemoval(device);
    tell("add usb_device", device);
    EXPECT_EQ(handledAfter(milliseconds(0)), "");
    EXPECT_EQ(handledAfter(kSettle / 2), "");
    EXPECT_EQ(handledAfter(kSettle / 2), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, WaitsForADeviceThatTheKernelWasLongInSettingUp)
{
    started();
    TreeDevice device = composite();
    device.connectedMs = 3000; // counts from the plug
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
    events.lose();
    EXPECT_EQ(handled(), "");
    tree.unplug("1-1");
    device.interfaces[1].hidraw = 1;
    tree.plug(device);
    tellArrival(device);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, KeepsWaitingForAHalfArrivedDeviceAcrossLostMessages)
{
    started();
    TreeDevice device = plugHalf();
    events.lose();
    EXPECT_EQ(handled(), "");
    events.lose();
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, ForgetsAHalfArrivedDeviceWhoseRemovalWasLost)
{
    started();
    TreeDevice device = plugHalf();
    tell("add usb_device", device);
    handled();
    tree.unplug("1-1");
    events.lose();
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(kSettle), "");
}

TEST_F(SettleTime, WaitsForNothingAfterObservationHasEnded)
{
    started();
    TreeDevice device = plugHalf();
    tell("add usb_device", device);
    handled();
    provider->stopWatching();
    calls.advance(kSettle);
    provider->handleEvents(sink);
    EXPECT_EQ(sink.takeLog(), "");
    // The first enumeration afterwards reads the machine again.
    test::SysfsTree::write(tree.devicePath("1-1") / "power/connected_duration", "1000\n");
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n");
}

TEST_F(SettleTime, ShowsADeviceWithoutTheInterfaceThatStaysUnbound)
{
    started();
    TreeDevice device = composite();
    device.connectedMs = 500000; // long before
    tree.plug(device);
    tellArrival(device);
    handled();
    tree.removeHID(device, device.interfaces[1]);
    std::filesystem::remove(tree.interfacePath(device, device.interfaces[1]) / "driver");
    tell("unbind usb_interface", device, 1);
    EXPECT_EQ(handled(), "- 1-1\n");
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 1\n");
}

TEST_F(SettleTime, TakesBothPartsOfALateDriverAsOneChange)
{
    started();
    TreeDevice device = composite();
    tree.plug(withoutDrivers(device));
    tell("bind usb_device", device);
    handled();
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 0\n");
    for (std::size_t number = 0; number < 2; ++number) {
        tree.bindDriver(device, device.interfaces[number]);
        tree.addHID(device, device.interfaces[number]);
        tree.addNode(device, device.interfaces[number]);
        tell("bind usb_interface", device, number);
        EXPECT_EQ(handled(), number == 0 ? "- 1-1\n" : "+ 1-1 hid 2\n");
    }
}

} // namespace
} // namespace qrx::platform
