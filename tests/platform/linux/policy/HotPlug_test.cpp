/// Devices come and go while somebody observes.

#include "HotPlugTest.h"

#include <cerrno>
#include <filesystem>

namespace qrx::platform {
namespace {

using test::composite;
using test::TreeDevice;

using HotPlug = test::HotPlugTest;

TEST_F(HotPlug, AnnouncesEveryDeviceOnceToWhoEnumeratesAndThenObserves)
{
    tree.plug(composite("1-1", 0));
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n");
    tree.plug(composite("1-2", 2));
    EXPECT_EQ(started(), "+ 1-2 hid 2\n");
    provider->refresh(sink);
    EXPECT_EQ(handled(), "");
}

TEST_F(HotPlug, HearsNothingNewInEventsOfWhatItHasSeenAlready)
{
    const TreeDevice device = composite();
    tree.plug(device);
    tellArrival(device);
    EXPECT_EQ(started(), "+ 1-1 hid 2\n");
    EXPECT_EQ(handled(), "");
    tell("add usb_device", device); // udevadm trigger
    EXPECT_EQ(handled(), "");
}

TEST_F(HotPlug, EndsADeviceThatLeftBetweenEnumerationAndObservation)
{
    tree.plug(composite());
    provider->refresh(sink);
    tree.unplug("1-1");
    EXPECT_EQ(started(), "+ 1-1 hid 2\n- 1-1\n");
}

TEST_F(HotPlug, AnnouncesAnArrivalWithAllItsInterfacesAndARemovalOnce)
{
    started();
    const TreeDevice device = composite();
    tree.plug(device);
    tellArrival(device);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
    tree.unplug("1-1");
    tellRemoval(device);
    EXPECT_EQ(handled(), "- 1-1\n");
}

TEST_F(HotPlug, GivesAReplugANewKey)
{
    started();
    TreeDevice device = composite();
    tree.plug(device);
    tellArrival(device);
    handled();
    tree.unplug("1-1");
    tellRemoval(device);
    device = composite("1-1", 4);
    tree.plug(device);
    tellArrival(device);
    EXPECT_EQ(handled(), "- 1-1\n+ 1-1 hid 2\n");
    EXPECT_EQ(sink.devices().begin()->first, 2U);
}

TEST_F(HotPlug, MakesANewDeviceOfOneWhoseInterfaceIsUnboundAndBound)
{
    started();
    TreeDevice device = composite();
    tree.plug(device);
    tellArrival(device);
    handled();
    tree.removeHID(device, device.interfaces[1]);
    std::filesystem::remove(tree.interfacePath(device, device.interfaces[1]) / "driver");
    for (const char* what : {"remove hidraw", "unbind hid", "remove hid", "unbind usb_interface"}) {
        tell(what, device, 1);
        EXPECT_EQ(handled(), std::string(what) == "remove hidraw" ? "- 1-1\n" : "");
    }
    device.interfaces[1].hidNumber = 9;
    tree.bindDriver(device, device.interfaces[1]);
    tree.addHID(device, device.interfaces[1]);
    tree.addNode(device, device.interfaces[1]);
    for (const char* what : {"add hid", "add hidraw", "bind hid", "bind usb_interface"}) {
        tell(what, device, 1);
    }
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
}

TEST_F(HotPlug, EndsTheDevicesBehindAHub)
{
    TreeDevice hub;
    hub.interfaces.emplace_back();
    hub.interfaces[0].interfaceClass = 9;
    hub.interfaces[0].driver = "hub";
    tree.plug(hub);
    const TreeDevice first = composite("1-1.1", 0);
    const TreeDevice second = composite("1-1.2", 2);
    tree.plug(first);
    tree.plug(second);
    EXPECT_EQ(started(), "+ 1-1.1 hid 2\n+ 1-1.2 hid 2\n");
    tellRemoval(first);
    tellRemoval(second);
    tell("remove usb_device", hub);
    tree.unplug("1-1");
    EXPECT_EQ(handled(), "- 1-1.1\n- 1-1.2\n");
}

TEST_F(HotPlug, LooksAtEverythingAfterLostMessages)
{
    const TreeDevice leaving = composite("1-1", 0);
    tree.plug(leaving);
    tree.plug(composite("1-3", 2));
    started();
    tree.unplug("1-1");
    tree.plug(composite("1-2", 4));
    events.lose();
    EXPECT_EQ(handled(), "- 1-1\n+ 1-2 hid 2\n");
    tellRemoval(leaving); // those that were queued before the loss
    EXPECT_EQ(handled(), "");
}

TEST_F(HotPlug, PassesOverEventsThatAreNoMatterOfUsbDevices)
{
    started();
    events.tell("add hidraw", "/devices/virtual/misc/uhid/0003:1234:ABCD.0001/hidraw/hidraw0");
    events.tell("change usb_device", "/devices/pci0000:00/0000:00:14.0/usb1/1-1");
    events.tell("bind hid", "/devices/platform/i2c-1/1-0015/0018:04F3:0001.0002");
    events.tell("add usb_device", "/devices/pci0000:00/0000:00:14.0/usb1");
    events.tell("", "");
    events.tell("remove usb_device", "/devices/pci0000:00/0000:00:14.0/usb1/1-7");
    EXPECT_EQ(handled(), "");
}

TEST_F(HotPlug, AsksAgainWhenADeviceCouldNotBeRead)
{
    started();
    const TreeDevice device = composite();
    tree.plug(device);
    tellArrival(device);
    calls.failFrom(2, EMFILE);
    provider->handleEvents(sink);
    calls.failNone();
    EXPECT_EQ(sink.takeLog(), "");
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 2\n");
}

TEST_F(HotPlug, PublishesNoDeviceHalfReadHoweverLongDescriptorsAreLacking)
{
    started();
    const TreeDevice device = composite();
    constexpr int kMoreThanALookTakes = 60;
    for (int number = 1; number <= kMoreThanALookTakes; ++number) {
        SCOPED_TRACE("all calls fail from the one of number " + std::to_string(number));
        tree.plug(device);
        tellArrival(device);
        calls.failFrom(number, EMFILE);
        provider->handleEvents(sink);
        for (int times = 0; times < 3; ++times) {
            calls.failFrom(number, EMFILE);
            calls.advance(kSettle);
            provider->handleEvents(sink);
        }
        calls.failNone();
        calls.advance(kSettle);
        provider->handleEvents(sink);
        handled();
        ASSERT_EQ(sink.devices().size(), 1U);
        const DeviceFacts& facts = sink.at("1-1");
        EXPECT_EQ(facts.productName, device.productText);
        ASSERT_EQ(facts.interfaces.size(), 2U);
        EXPECT_NE(facts.interfaces[0].hid, nullptr);
        EXPECT_EQ(facts.interfaces[1].reportDescriptor, device.interfaces[1].reportDescriptor);
        tree.unplug(device.name);
        tellRemoval(device);
        handled();
        ASSERT_EQ(sink.devices().size(), 0U);
    }
}

TEST_F(HotPlug, SaysOnceThatNothingCanBeWatchedAndOnceThatItIsAgain)
{
    testing::internal::CaptureStderr();
    for (int times = 0; times < 2; ++times) {
        calls.failFrom(1, EMFILE);
        EXPECT_EQ(provider->startWatching(sink), -1);
    }
    calls.failNone();
    EXPECT_GE(provider->startWatching(sink), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDManager: Arrivals and removals of devices cannot be watched: Too many open files.\n"
              "QrxHIDManager: The USB devices of this machine cannot be listed: Too many open files.\n"
              "QrxHIDManager: Arrivals and removals of devices are watched again.\n"
              "QrxHIDManager: The USB devices of this machine are listed again.\n");
}

TEST_F(HotPlug, SaysOnceThatDevicesCannotBeListedAndOnceThatTheyCanAgain)
{
    started();
    provider->stopWatching();
    tree.plug(composite());
    testing::internal::CaptureStderr();
    for (int times = 0; times < 2; ++times) {
        calls.failCall(1, EACCES);
        provider->refresh(sink);
        EXPECT_EQ(sink.takeLog(), "");
    }
    for (int times = 0; times < 2; ++times) {
        provider->refresh(sink);
    }
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDManager: The USB devices of this machine cannot be listed: Permission denied.\n"
              "QrxHIDManager: The USB devices of this machine are listed again.\n");
}

TEST_F(HotPlug, MakesOneCallToSeeThatNothingHasHappened)
{
    tree.plug(composite());
    started();
    calls.resetCount();
    calls.resetTrace();
    provider->refresh(sink);
    EXPECT_EQ(calls.count(), 1) << calls.trace();
    EXPECT_EQ(calls.trace(), "epoll_wait\n");
}

TEST_F(HotPlug, MayBeObservedAgain)
{
    started();
    provider->stopWatching();
    provider->stopWatching();
    tree.plug(composite());
    EXPECT_EQ(started(), "+ 1-1 hid 2\n");
    EXPECT_EQ(provider->startWatching(sink), descriptor);
    EXPECT_EQ(handled(), "");
}

TEST_F(HotPlug, EnumeratesWhereNothingCanBeWatched)
{
    LinuxPaths deaf = paths();
    deaf.monitors = [](const LinuxPaths&) { return std::vector<std::unique_ptr<DeviceMonitor>>(); };
    provider = makeLinuxProvider(deaf);
    tree.plug(composite("1-1", 0));
    EXPECT_EQ(started(), "+ 1-1 hid 2\n");
    EXPECT_EQ(descriptor, -1);
    tree.plug(composite("1-2", 2));
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-2 hid 2\n");
}

} // namespace
} // namespace qrx::platform
