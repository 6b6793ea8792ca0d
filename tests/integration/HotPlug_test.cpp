#include "LibraryTest.h"

#include "CoreFoundation/LiveObjects.h"

#include <QrxDeviceTreeInterface.h>

namespace {

using Names = std::vector<std::string>;

class HotPlug : public LibraryTest {
protected:
    TestDevice _first = makeDevice("first", plainDescriptor());
    TestDevice _second = makeDevice("second", plainDescriptor());
};

TEST_F(HotPlug, PopulateFindsWhatIsThereInTheOrderOfArrival)
{
    _second.plug();
    _first.plug();
    const TreeHandle tree = populatedTree();
    EXPECT_EQ((Names{"second", "first"}), _treeDelegate.arrivals);
    EXPECT_EQ(2u, tree->getHIDDeviceCount());
}

TEST_F(HotPlug, PopulateThenObserveAnnouncesEveryDeviceOnce)
{
    _first.plug();
    const TreeHandle tree = populatedTree();
    tree->observe(0, 0);
    runWhileBusy();
    EXPECT_EQ(Names{"first"}, _treeDelegate.arrivals);
    _second.plug();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 2; }));
    tree->populate(0, 0);
    EXPECT_EQ((Names{"first", "second"}), _treeDelegate.arrivals);
}

TEST_F(HotPlug, ObserveAloneAnnouncesWhatIsThereInTheOrderOfArrival)
{
    _first.plug();
    _second.plug();
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    EXPECT_EQ((Names{"first", "second"}), _treeDelegate.arrivals);
}

TEST_F(HotPlug, AnUnplugTakesTheDeviceOutAndPrintsOneLine)
{
    _first.plug();
    _second.plug();
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    const CapturedOutput output;
    _first.unplug();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 1; }));
    EXPECT_EQ("second", tree->getDeviceAtIndex(0)->getProductName());
    EXPECT_EQ("device notification: id 2\n", output.text());
}

TEST_F(HotPlug, WithoutADelegateAnArrivalPrintsItsLine)
{
    const TreeHandle tree = QrxDeviceTree::NewInstance();
    tree->observe(0, 0);
    const CapturedOutput output;
    _first.plug();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 1; }));
    EXPECT_EQ("device notification: device added\n", output.text());
}

TEST_F(HotPlug, ADeviceThatComesBackIsAnotherDevice)
{
    _first.plug();
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    const DeviceHandle before = tree->getDeviceAtIndex(0);
    _first.unplug();
    _first.plug();
    const CapturedOutput output;
    ASSERT_TRUE(runUntil([&] { return _treeDelegate.arrivals.size() == 2; }));
    runWhileBusy();
    ASSERT_EQ(1u, tree->getHIDDeviceCount());
    EXPECT_FALSE(*tree->getDeviceAtIndex(0) == *before);
    EXPECT_EQ("first", before->getProductName()) << "what the application keeps still answers";
}

TEST_F(HotPlug, ADeviceThatLeavesBetweenPopulateAndObserveDoesNotStayListed)
{
    _first.plug();
    const TreeHandle tree = populatedTree();
    ASSERT_EQ(1u, tree->getHIDDeviceCount());
    _first.unplug();
    const CapturedOutput output;
    tree->observe(0, 0);
    runWhileBusy();
    EXPECT_EQ(0u, tree->getHIDDeviceCount());
    EXPECT_EQ("device notification: id 2\n", output.text());
}

TEST_F(HotPlug, ADeviceThatComesAndGoesBeforeTheLoopRunsIsNotAnnounced)
{
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    const CapturedOutput output;
    _first.plug();
    _first.unplug();
    runWhileBusy();
    EXPECT_EQ(Names{}, _treeDelegate.arrivals);
    EXPECT_EQ("", output.text());
}

TEST_F(HotPlug, OnlyWhatThePairsNameIsTaken)
{
    _first.plug();
    const TreeHandle tree = makeTree();
    tree->populate(0x1234, 0x5678);
    tree->populate(0x1234, 0);
    tree->populate(0x9999, 0);
    EXPECT_EQ(1u, _treeDelegate.arrivals.size()) << "the device is listed once";
    const TreeHandle other = makeTree();
    other->populate(0x9999, 0);
    other->populate(std::vector<std::pair<unsigned short, unsigned short>>{});
    EXPECT_EQ(0u, other->getHIDDeviceCount());
}

TEST_F(HotPlug, ASecondObserveChangesOnlyWhatIsTakenFromThenOn)
{
    const TreeHandle tree = makeTree();
    tree->observe(0x9999, 0);
    _first.plug();
    runWhileBusy();
    EXPECT_EQ(Names{}, _treeDelegate.arrivals);
    tree->observe(0x1234, 0);
    _second.plug();
    ASSERT_TRUE(runUntil([&] { return !_treeDelegate.arrivals.empty(); }));
    runWhileBusy();
    EXPECT_EQ(Names{"second"}, _treeDelegate.arrivals);
}

TEST_F(HotPlug, ADeviceWithoutHIDInterfaceIsNotListed)
{
    TestDevice printer = makeDevice("printer", {});
    printer.plug();
    const TreeHandle tree = populatedTree();
    EXPECT_EQ(0u, tree->getHIDDeviceCount());
}

TEST_F(HotPlug, ADestroyedTreeIsToldNothing)
{
    {
        const TreeHandle tree = makeTree();
        tree->observe(0, 0);
        _first.plug();
    }
    _second.plug();
    EXPECT_EQ(QrxRunLoop::Outcome::finished, QrxRunLoop::getCurrent().runOnce(0));
    EXPECT_EQ(Names{}, _treeDelegate.arrivals);
}

TEST_F(HotPlug, ManyDevicesInOneBurstArriveAndLeaveEachOnce)
{
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    const std::size_t count = TestDevice::mostAtOnce();
    std::vector<TestDevice> devices;
    Names names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back("device " + std::to_string(i));
        devices.push_back(makeDevice(names.back(), plainDescriptor()));
        devices.back().plug();
    }
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == count; }));
    EXPECT_EQ(names, _treeDelegate.arrivals);
    const CapturedOutput output;
    devices.clear();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    std::string lines;
    for (std::size_t i = 0; i < count; ++i) {
        lines += "device notification: id 2\n";
    }
    EXPECT_EQ(lines, output.text());
}

TEST_F(HotPlug, ADeviceThatComesAndGoesLeavesNothingBehind)
{
    const TreeHandle tree = makeTree();
    tree->observe(0, 0);
    const CapturedOutput output;
    const auto comeAndGo = [&] {
        _first.plug();
        _second.plug();
        ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 2; }));
        tree->getDeviceAtIndex(0)->open();
        tree->getDeviceAtIndex(0)->close();
        _first.unplug();
        _second.unplug();
        ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    };
    comeAndGo();
    const auto before = qrx::cf::liveObjects();
    for (int i = 0; i < 10; ++i) {
        comeAndGo();
    }
    EXPECT_EQ(before, qrx::cf::liveObjects());
}

TEST_F(HotPlug, TheFacadeCountsDevicesAndOpensNone)
{
    _first.plug();
    _second.plug();
    const CapturedOutput output;
    QrxDeviceTreeInterface facade;
    facade.setApplicationOwner(nullptr);
    facade.createDeviceTree({{0x1234, 0}});
    EXPECT_TRUE(facade.startTheDeviceService());
    EXPECT_TRUE(facade.setOutputReport(1, 0, std::valarray<unsigned char>{7, 8}, 0));
    EXPECT_TRUE(_first.takeSentReports().empty()) << "nobody has opened it";
    EXPECT_FALSE(_first.isOpen(0));
    facade.stopTheDeviceService();
    EXPECT_EQ("device notification: device added\ndevice notification: device added\n"
              "QrxDeviceTreeInterface() Device count in tree = 2\n",
              output.text());
}

} // namespace
