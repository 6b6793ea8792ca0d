/// In which order devices leave, how exactly the settle time counts, looks that never succeed, and a second
/// observation.

#include "HotPlugTest.h"

#include <cerrno>
#include <filesystem>

namespace qrx::platform {
namespace {

using std::chrono::milliseconds;
using test::composite;
using test::TreeDevice;

class DeviceBook : public test::HotPlugTest {
protected:
    /// A device whose second report node has not come, connected so long ago.
    TreeDevice plugHalf(const std::string& name, int hidraw, std::optional<int> connectedMs)
    {
        TreeDevice device = composite(name, hidraw);
        device.interfaces[1].hidraw = -1;
        device.connectedMs = connectedMs;
        tree.plug(device);
        return device;
    }
    std::string refreshed()
    {
        provider->refresh(sink);
        return sink.takeLog();
    }
    /// Handles events while no file can be opened or read: for a reason of the device's, or for lack of descriptors.
    std::string handledInVainAfter(milliseconds time, int error = EIO)
    {
        calls.advance(time);
        calls.failFrom(2, error);
        provider->handleEvents(sink);
        calls.failNone();
        return sink.takeLog();
    }
    int callsOfOneLook()
    {
        calls.resetCount();
        EXPECT_EQ(handledAfter(kSettle), "");
        return calls.count();
    }
};

TEST_F(DeviceBook, DevicesWhoseRemovalWasLostLeaveInTheOrderOfTheirArrival)
{
    tree.plug(composite("1-3", 0));
    started();
    for (const auto& [name, hidraw] : {std::pair("1-1", 2), std::pair("1-2", 4)}) {
        const TreeDevice device = composite(name, hidraw);
        tree.plug(device);
        tellArrival(device);
        handled();
    }
    for (const char* name : {"1-1", "1-2", "1-3"}) {
        tree.unplug(name);
    }
    events.lose();
    EXPECT_EQ(handled(), "- 1-3\n- 1-1\n- 1-2\n");
}

TEST_F(DeviceBook, ADeviceThatLeavesAndComesBackDuringALossIsEndedBeforeItArrives)
{
    const TreeDevice first = composite("1-1", 0);
    tree.plug(first);
    tree.plug(composite("1-2", 2));
    started();
    tree.unplug("1-1");
    tree.plug(composite("1-1", 6));
    events.lose();
    EXPECT_EQ(handled(), "- 1-1\n+ 1-1 hid 2\n");
    tree.unplug("1-2");
    tree.unplug("1-1");
    events.lose();
    EXPECT_EQ(handled(), "- 1-2\n- 1-1\n") << "the one that came back is the younger";
}

TEST_F(DeviceBook, HalfArrivedDevicesAreAnnouncedWhenTheirTimesAreOverTheOldestFirst)
{
    plugHalf("1-1", 0, 200);
    plugHalf("1-2", 2, 600);
    plugHalf("1-3", 4, 400);
    EXPECT_EQ(started(), "");
    EXPECT_EQ(handledAfter(milliseconds(399)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-2 hid 2\n");
    EXPECT_EQ(handledAfter(milliseconds(400)), "+ 1-3 hid 2\n+ 1-1 hid 2\n");
    EXPECT_EQ(callsOfOneLook(), 1) << "nothing is waited for";
}

TEST_F(DeviceBook, WhoOnlyEnumeratesIsShownAHalfArrivedDeviceFromTheSettleTimeOn)
{
    plugHalf("1-1", 0, 999);
    plugHalf("1-2", 2, 1000);
    EXPECT_EQ(refreshed(), "+ 1-2 hid 2\n");
    test::SysfsTree::write(tree.devicePath("1-1") / "power/connected_duration", "1000\n");
    EXPECT_EQ(refreshed(), "+ 1-1 hid 2\n");
    EXPECT_EQ(refreshed(), "");
}

TEST_F(DeviceBook, WithoutAnAgeWhoEnumeratesIsShownItAtOnceAndWhoObservesAfterTheSettleTime)
{
    plugHalf("1-1", 0, std::nullopt);
    EXPECT_EQ(started(), "");
    EXPECT_EQ(handledAfter(kSettle - milliseconds(1)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-1 hid 2\n");
    provider->stopWatching();
    plugHalf("1-2", 2, std::nullopt);
    EXPECT_EQ(refreshed(), "+ 1-2 hid 2\n");
}

TEST_F(DeviceBook, WhoEnumeratesIsShownAChangedDeviceAtOnceHoweverYoungItIs)
{
    TreeDevice device = composite();
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 2\n");
    tree.removeHID(device, device.interfaces[1]);
    std::filesystem::remove(tree.interfacePath(device, device.interfaces[1]) / "driver");
    EXPECT_EQ(refreshed(), "- 1-1\n+ 1-1 hid 1\n");
}

TEST_F(DeviceBook, WithoutDescriptorsTheClassIsThatOfTheAttribute)
{
    TreeDevice device = composite();
    device.deviceClass = 0xEF;
    tree.plug(device);
    std::filesystem::remove(tree.devicePath("1-1") / "descriptors");
    test::SysfsTree::write(tree.devicePath("1-1") / "bDeviceSubClass", "02\n");
    test::SysfsTree::write(tree.devicePath("1-1") / "bDeviceProtocol", "01\n");
    refreshed();
    EXPECT_EQ(sink.at("1-1").deviceClass, 0xEF);
    EXPECT_EQ(sink.at("1-1").deviceSubclass, 2);
    EXPECT_EQ(sink.at("1-1").deviceProtocol, 1);
}

TEST_F(DeviceBook, AnObservationThatBeginsAnewTakesOldHalfArrivedDevicesAsTheyAre)
{
    started();
    provider->stopWatching();
    plugHalf("1-1", 0, 5000);
    EXPECT_EQ(started(), "+ 1-1 hid 2\n");
}

TEST_F(DeviceBook, WhatAnEarlierObservationWaitedForIsWaitedForAnewInTheNext)
{
    plugHalf("1-1", 0, 0);
    EXPECT_EQ(started(), "");
    provider->stopWatching();
    calls.advance(kSettle);
    test::SysfsTree::write(tree.devicePath("1-1") / "power/connected_duration", "700\n");
    EXPECT_EQ(started(), "");
    EXPECT_EQ(handledAfter(milliseconds(299)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-1 hid 2\n");
}

TEST_F(DeviceBook, ADeviceThatCanNeverBeReadIsLookedAtAgainOnce)
{
    started();
    const TreeDevice device = composite();
    tree.plug(device);
    tellArrival(device);
    EXPECT_EQ(handledInVainAfter(milliseconds(0)), "");
    EXPECT_EQ(handledInVainAfter(kSettle), "");
    EXPECT_EQ(callsOfOneLook(), 1) << "nothing is waited for";
    tell("bind usb_device", device);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n") << "the next event asks anew";
}

TEST_F(DeviceBook, ADeviceThatIsNotReadForLackOfDescriptorsIsLookedAtUntilItIs)
{
    started();
    const TreeDevice device = composite();
    tree.plug(device);
    tellArrival(device);
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(handledInVainAfter(round == 0 ? milliseconds(0) : kSettle, EMFILE), "");
    }
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 2\n");
    EXPECT_EQ(callsOfOneLook(), 1) << "nothing is waited for";
}

TEST_F(DeviceBook, AKnownDeviceThatCannotBeComparedStaysAndIsComparedAgainOnce)
{
    const TreeDevice device = composite();
    tree.plug(device);
    started();
    tell("bind usb_device", device);
    EXPECT_EQ(handledInVainAfter(milliseconds(0)), "");
    EXPECT_EQ(handledInVainAfter(kSettle), "");
    EXPECT_EQ(callsOfOneLook(), 1) << "nothing is waited for";
    tree.unplug("1-1");
    tellRemoval(device);
    EXPECT_EQ(handled(), "- 1-1\n");
}

TEST_F(DeviceBook, AChangedDeviceIsComparedUntilThereAreDescriptorsForIt)
{
    started();
    for (int firstFailing = 2; firstFailing <= 12; ++firstFailing) {
        const TreeDevice device = composite();
        tree.plug(device);
        tellArrival(device);
        ASSERT_EQ(handled(), "+ 1-1 hid 2\n");
        tree.removeHID(device, device.interfaces[1]);
        std::filesystem::remove(tree.interfacePath(device, device.interfaces[1]) / "driver");
        tell("bind usb_device", device);
        std::string log;
        for (int round = 0; round < 3; ++round) {
            calls.advance(round == 0 ? milliseconds(0) : kSettle);
            calls.failFrom(firstFailing, EMFILE);
            provider->handleEvents(sink);
            calls.failNone();
            log += sink.takeLog();
        }
        log += handledAfter(kSettle);
        EXPECT_EQ(log, "- 1-1\n+ 1-1 hid 1\n") << "calls fail from number " << firstFailing;
        tree.unplug("1-1");
        tellRemoval(device);
        handled();
    }
}

TEST_F(DeviceBook, AMachineThatCannotBeListedIsListedWhenItCanBe)
{
    const TreeDevice device = composite();
    tree.plug(device);
    started();
    tree.unplug("1-1");
    tree.plug(composite("1-2", 2));
    events.lose();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(handledInVainAfter(round == 0 ? milliseconds(0) : kSettle), "") << "no answer is no removal";
    }
    EXPECT_EQ(handledAfter(kSettle - milliseconds(1)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "- 1-1\n+ 1-2 hid 2\n");
    EXPECT_EQ(callsOfOneLook(), 1) << "nothing is owed";
}

TEST_F(DeviceBook, EachReasonToWaitHasItsOwnTimeWhichNoEventProlongs)
{
    LinuxPaths different = paths();
    different.times.deviceWait = milliseconds(400);
    different.times.reread = milliseconds(200);
    different.times.rescanRetry = milliseconds(100);
    provider = makeLinuxProvider(different);
    started();

    TreeDevice half = composite();
    half.interfaces[1].hidraw = -1;
    tree.plug(half);
    tell("bind usb_device", half);
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(milliseconds(300)), "");
    tell("bind usb_device", half);
    EXPECT_EQ(handledAfter(milliseconds(99)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-1 hid 2\n");

    const TreeDevice unread = composite("1-2", 2);
    tree.plug(unread);
    tellArrival(unread);
    EXPECT_EQ(handledInVainAfter(milliseconds(0)), "");
    EXPECT_EQ(handledAfter(milliseconds(199)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-2 hid 2\n");

    tree.unplug("1-2");
    events.lose();
    EXPECT_EQ(handledInVainAfter(milliseconds(0)), "");
    EXPECT_EQ(handledAfter(milliseconds(99)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "- 1-2\n");
}

} // namespace
} // namespace qrx::platform
