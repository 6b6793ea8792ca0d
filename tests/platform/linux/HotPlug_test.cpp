#include "FakeMonitor.h"
#include "FaultyCalls.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include <poll.h>

namespace qrx::platform {
namespace {

using std::chrono::milliseconds;
using test::hidInterface;
using test::TreeDevice;
using test::TreeInterface;

TreeDevice composite(const std::string& name = "1-1", int hidraw = 0)
{
    TreeDevice device;
    device.name = name;
    device.connectedMs = 0;
    device.interfaces = {hidInterface(0, hidraw), hidInterface(1, hidraw + 1)};
    return device;
}

/// The same device before any driver has come.
TreeDevice withoutDrivers(TreeDevice device)
{
    for (TreeInterface& interface : device.interfaces) {
        interface.driver.clear();
        interface.hidNumber = interface.hidraw = -1;
    }
    return device;
}

class HotPlug : public testing::Test {
protected:
    static constexpr milliseconds kSettle{1000};

    LinuxPaths paths()
    {
        LinuxPaths paths = tree.paths();
        paths.settleTime = kSettle;
        paths.calls = &calls;
        paths.monitors = events.factory();
        return paths;
    }
    /// What is told when whoever observes looks at the descriptor and handles events as long as it is readable.
    std::string handled()
    {
        pollfd poll{descriptor, POLLIN, 0};
        for (int turns = 0; ::poll(&poll, 1, 0) > 0; ++turns) {
            if (turns == 100) {
                return "still readable after " + std::to_string(turns) + " turns";
            }
            provider->handleEvents(sink);
        }
        return sink.takeLog();
    }
    /// As handled, although the timer of real time has not run out.
    std::string handledAfter(milliseconds time)
    {
        calls.advance(time);
        provider->handleEvents(sink);
        return sink.takeLog();
    }
    std::string started()
    {
        descriptor = provider->startWatching(sink);
        return sink.takeLog();
    }
    void tell(const std::string& what, const TreeDevice& device)
    {
        events.tell(what, tree.eventPath(tree.devicePath(device.name)));
    }
    void tell(const std::string& what, const TreeDevice& device, std::size_t number)
    {
        const TreeInterface& interface = device.interfaces[number];
        auto path =
            what.ends_with("interface") ? tree.interfacePath(device, interface) : tree.hidPath(device, interface);
        if (what.ends_with("hidraw")) {
            path = path / "hidraw" / ("hidraw" + std::to_string(interface.hidraw));
        }
        events.tell(what, tree.eventPath(path));
    }
    /// The events of a device whose drivers were there before.
    void tellArrival(const TreeDevice& device)
    {
        tell("add usb_device", device);
        for (std::size_t number = 0; number < device.interfaces.size(); ++number) {
            for (const char* what : {"add usb_interface", "add hid", "add hidraw", "bind hid", "bind usb_interface"}) {
                tell(what, device, number);
            }
        }
        tell("bind usb_device", device);
    }
    void tellRemoval(const TreeDevice& device)
    {
        for (std::size_t number = 0; number < device.interfaces.size(); ++number) {
            for (const char* what :
                 {"remove hidraw", "unbind hid", "remove hid", "unbind usb_interface", "remove usb_interface"}) {
                tell(what, device, number);
            }
        }
        tell("unbind usb_device", device);
        tell("remove usb_device", device);
    }

    test::SysfsTree tree;
    test::FaultyCalls calls;
    test::EventSource events;
    test::RecordingSink sink;
    std::unique_ptr<Provider> provider = makeLinuxProvider(paths());
    int descriptor = -1;
};

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

TEST_F(HotPlug, WaitsForTheLastInterfaceWhileEventsTrickleIn)
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

TEST_F(HotPlug, WaitsForAnInterfaceThatIsNotEvenListedYet)
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

TEST_F(HotPlug, WaitsForADriverThatIsLoadedAfterTheDeviceWasBound)
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

TEST_F(HotPlug, WaitsForTheNodeInTheDeviceFolder)
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

TEST_F(HotPlug, AnnouncesWhatThereIsAfterTheSettleTime)
{
    started();
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
    tell("bind usb_device", device);
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(kSettle - milliseconds(1)), "");
    EXPECT_EQ(handledAfter(milliseconds(1)), "+ 1-1 hid 2\n");
    EXPECT_EQ(handledAfter(kSettle), "");
}

TEST_F(HotPlug, ShowsTheSameToRefreshAsToEvents)
{
    started();
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
    tell("bind usb_device", device);
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "");
    calls.advance(kSettle);
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n");
}

TEST_F(HotPlug, IsWokenWhenTheSettleTimeHasPassed)
{
    LinuxPaths quick = paths();
    quick.calls = nullptr;
    quick.settleTime = milliseconds(5);
    provider = makeLinuxProvider(quick);
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
    EXPECT_EQ(started(), "");
    pollfd poll{descriptor, POLLIN, 0};
    ASSERT_EQ(::poll(&poll, 1, 10000), 1);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
}

TEST_F(HotPlug, CountsTheTimeBeforeObservationAsWaitedFor)
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

TEST_F(HotPlug, NeverAnnouncesAHalfArrivedDeviceThatLeaves)
{
    started();
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
    tell("add usb_device", device);
    EXPECT_EQ(handled(), "");
    tree.unplug("1-1");
    tellRemoval(device);
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(10 * kSettle), "");
}

TEST_F(HotPlug, GivesAFreshSettleTimeToTheNextDeviceOfAPort)
{
    started();
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
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

TEST_F(HotPlug, ShowsADeviceWithoutTheInterfaceThatStaysUnbound)
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

TEST_F(HotPlug, TakesBothPartsOfALateDriverAsOneChange)
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

TEST_F(HotPlug, KeepsWaitingForAHalfArrivedDeviceAcrossLostMessages)
{
    started();
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
    events.lose();
    EXPECT_EQ(handled(), "");
    events.lose();
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 2\n");
}

TEST_F(HotPlug, WaitsForADeviceThatTheKernelWasLongInSettingUp)
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

TEST_F(HotPlug, ForgetsAHalfArrivedDeviceWhoseRemovalWasLost)
{
    started();
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
    tell("add usb_device", device);
    handled();
    tree.unplug("1-1");
    events.lose();
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(kSettle), "");
}

/// A machine with udevd, which gives nodes to their users some time after the kernel has made them.
class HotPlugWithRules : public HotPlug {
protected:
    HotPlugWithRules()
    {
        events.followsRules = true;
        std::filesystem::create_directories(tree.root() / "run/data");
        test::SysfsTree::write(tree.root() / "run/control", "");
    }
    /// The nodes of the tree are plain files, which have no device number.
    void knowNodes() { test::SysfsTree::write(tree.root() / "run/data/c0:0", ""); }
};

TEST_F(HotPlugWithRules, WaitsForUdevdsWordAboutEachNode)
{
    started();
    const TreeDevice device = composite();
    tree.plug(device);
    tell("add usb_device", device);
    EXPECT_EQ(handled(), "");
    for (std::size_t number = 0; number < 2; ++number) {
        tell("add usb_interface", device, number);
        tell("add hid", device, number);
        EXPECT_EQ(handled(), "");
        knowNodes(); // which comes before the last rules
        tell("change usb_device", device);
        EXPECT_EQ(handled(), "");
        tell("add hidraw", device, number);
        EXPECT_EQ(handled(), number == 0 ? "" : "+ 1-1 hid 2\n");
    }
}

TEST_F(HotPlugWithRules, AnnouncesADeviceWhoseRulesAreSlowerThanTheSettleTime)
{
    started();
    const TreeDevice device = composite();
    tree.plug(device);
    tell("add usb_device", device);
    EXPECT_EQ(handled(), "");
    EXPECT_EQ(handledAfter(kSettle), "+ 1-1 hid 2\n");
    tell("add hidraw", device, 0);
    tell("add hidraw", device, 1);
    EXPECT_EQ(handled(), "");
}

TEST_F(HotPlugWithRules, TakesUdevdsDatabaseForNodesThatWereThereBefore)
{
    const TreeDevice device = composite();
    tree.plug(device);
    EXPECT_EQ(started(), "");
    tell("add hidraw", device, 0);
    tell("add hidraw", device, 1);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
    provider->stopWatching();
    knowNodes();
    tree.plug(composite("1-2", 2));
    EXPECT_EQ(started(), "+ 1-2 hid 2\n");
}

TEST_F(HotPlugWithRules, TakesNodesThatUdevdNeverSawWhenTheyAreOldEnough)
{
    tree.plug(composite());
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "");
    calls.advance(kSettle + milliseconds(1000));
    provider->refresh(sink);
    EXPECT_EQ(sink.takeLog(), "+ 1-1 hid 2\n");
}

TEST_F(HotPlugWithRules, WaitsForTheNewNodeOnlyWhereOneInterfaceIsBoundAgain)
{
    TreeDevice device = composite();
    knowNodes();
    tree.plug(device);
    started();
    calls.advance(10 * kSettle);
    tree.removeHID(device, device.interfaces[1]);
    tell("remove hidraw", device, 1);
    EXPECT_EQ(handled(), "- 1-1\n");
    device.interfaces[1].hidNumber = 9;
    tree.addHID(device, device.interfaces[1]);
    tree.addNode(device, device.interfaces[1]);
    tell("add hidraw", device, 1);
    EXPECT_EQ(handled(), "+ 1-1 hid 2\n");
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

TEST_F(HotPlug, WaitsForNothingAfterObservationHasEnded)
{
    started();
    TreeDevice device = composite();
    device.interfaces[1].hidraw = -1;
    tree.plug(device);
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
