/// What udevd's rules have to do with it.

#include "HotPlugTest.h"

#include <filesystem>

namespace qrx::platform {
namespace {

using std::chrono::milliseconds;
using test::composite;
using test::TreeDevice;

/// A machine with udevd, which gives nodes to their users some time after the kernel has made them.
class HotPlugWithRules : public test::HotPlugTest {
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

} // namespace
} // namespace qrx::platform
