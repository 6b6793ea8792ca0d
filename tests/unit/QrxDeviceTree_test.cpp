#include "QrxDeviceTree.h"

#include "ModelDoubles.h"
#include "QrxDeviceTreeImpl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <iostream>
#include <stdexcept>

namespace {

using DevicePtr = mis::swizzler<QrxHIDDevice>;
using TreePtr = mis::swizzler<QrxDeviceTree>;
using Pairs = std::vector<std::pair<unsigned short, unsigned short>>;

const char* const kAddedLine = "device notification: device added\n";
const char* const kRemovedLine = "device notification: id 2\n";

/// What the exception says that an access past the end throws, or what happened instead.
std::string messageOf(const std::function<void()>& access)
{
    try {
        access();
    } catch (const std::out_of_range& error) {
        return error.what();
    } catch (...) {
        return "another exception";
    }
    return "no exception";
}

/// Compares as the test says and tells when it is asked.
class ComparingDevice : public FakeDevice {
public:
    ComparingDevice(std::string name, Events& events) : _name(std::move(name)), _events(events) {}
    bool operator==(const QrxHIDDevice& other) const override
    {
        const auto* const device = dynamic_cast<const ComparingDevice*>(&other);
        _events.push_back(_name + " == " + (device != nullptr ? device->_name : "?"));
        if (const auto action = onCompare) // a copy: what is done may replace it
            action();
        return equal;
    }
    bool isHID() const override
    {
        _events.push_back(_name + " isHID");
        return hid;
    }
    bool equal = false;
    std::function<void()> onCompare;

private:
    const std::string _name;
    Events& _events;
};

class NotificationLogger : public FakeTree {
public:
    explicit NotificationLogger(Events& events) : _events(events) {}
    void deviceNotification(unsigned int kind, DevicePtr device) override
    {
        const auto* const fake = static_cast<const FakeDevice*>(device.get());
        _events.push_back("kind " + std::to_string(kind) + " of " + std::to_string(fake->identity) + ", " +
                          std::to_string(getHIDDeviceCount()) + " listed, parent " +
                          (device->getDeviceTree() == this ? "is the tree" : "is not the tree"));
    }

private:
    Events& _events;
};

/// Records its count after every retain and release, until it ends.
class CountedDevice : public FakeDevice {
public:
    explicit CountedDevice(std::vector<unsigned int>& counts) : _counts(counts) {}
    void retain() const override
    {
        FakeDevice::retain();
        _counts.push_back(getReferenceCount());
    }
    bool release() override
    {
        _counts.push_back(getReferenceCount() - 1);
        return FakeDevice::release();
    }

private:
    std::vector<unsigned int>& _counts;
};

/// Lists what a backend must never list.
class TreeWithEmptyEntry : public FakeTree {
public:
    TreeWithEmptyEntry() { _devices.push_back(DevicePtr()); }
};

std::string emptyHandleLine(unsigned int line)
{
    return "IntLibs/QrxHidMgr/Headers/swizzler:" + std::to_string(line) + ": failed assertion `_pointer != NULL'\n";
}

} // namespace

class QrxDeviceTreeTest : public testing::Test {
protected:
    std::vector<unsigned int> counts; // outlives the tree, whose devices may write to it at their end
    TreePtr tree{new FakeTree};
    ScriptedTreeDelegate delegate;
    CapturedStream out{std::cout};

    DevicePtr added(int identity)
    {
        const DevicePtr device(new FakeDevice(identity));
        tree->_addDevice(device);
        return device;
    }
};

TEST(QrxDeviceTreeOnce, TheFactoryMakesThePlatformsTreeWithOneReference)
{
    const TreePtr tree = QrxDeviceTree::NewInstance();
    EXPECT_NE(dynamic_cast<_QrxDeviceTreeImpl*>(tree.get()), nullptr);
    EXPECT_EQ(tree->getReferenceCount(), 1U);
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
    EXPECT_FALSE(tree->hasDelegate());
    EXPECT_TRUE(tree->getVendorAndProductIDs().empty());
}

TEST_F(QrxDeviceTreeTest, AnAccessPastTheEndThrows)
{
    EXPECT_EQ(messageOf([this] { tree->getDeviceAtIndex(0); }), "vector [] access out of range");
    added(1);
    EXPECT_EQ(messageOf([this] { tree->getDeviceAtIndex(tree->getHIDDeviceCount()); }),
              "vector [] access out of range");
    EXPECT_EQ(messageOf([this] { tree->getDeviceAtIndex(0xFFFFFFFF); }), "vector [] access out of range");
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
}

TEST_F(QrxDeviceTreeTest, AnAddedDeviceIsListedHeldAndBelowTheTree)
{
    const DevicePtr device = added(1);
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(device->getReferenceCount(), 2U);
    EXPECT_TRUE(tree->getDeviceAtIndex(0) == device);
    EXPECT_TRUE(device->getDeviceTree() == tree);
    EXPECT_EQ(tree->getReferenceCount(), 1U);
}

TEST_F(QrxDeviceTreeTest, ADeviceThatIsAlreadyListedIsRefused)
{
    const DevicePtr device = added(1);
    tree->_addDevice(device);
    const DevicePtr equal(new FakeDevice(1));
    tree->_addDevice(equal);
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_FALSE(equal->_hasParent());
    EXPECT_EQ(equal->getReferenceCount(), 1U);
    EXPECT_EQ(out.text(), kAddedLine);
}

TEST_F(QrxDeviceTreeTest, ADeviceThatIsNotHIDIsRefusedSilently)
{
    tree->setDelegate(&delegate);
    const mis::swizzler<FakeDevice> device(new FakeDevice(1));
    device->hid = false;
    tree->_addDevice(device);
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
    EXPECT_FALSE(device->_hasParent());
    EXPECT_EQ(delegate.calls, 0);
    EXPECT_EQ(out.text(), "");
}

TEST_F(QrxDeviceTreeTest, EmptyHandlesAreIgnored)
{
    tree->_addDevice(DevicePtr());
    tree->_removeDevice(DevicePtr());
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U);
    EXPECT_EQ(out.text(), "");
}

TEST_F(QrxDeviceTreeTest, ListedDevicesAreAskedFirstToLastUntilOneIsEqual)
{
    Events events;
    const mis::swizzler<ComparingDevice> a(new ComparingDevice("a", events));
    const mis::swizzler<ComparingDevice> b(new ComparingDevice("b", events));
    const mis::swizzler<ComparingDevice> c(new ComparingDevice("c", events));
    const mis::swizzler<ComparingDevice> d(new ComparingDevice("d", events));
    tree->_addDevice(a);
    tree->_addDevice(b);
    tree->_addDevice(c);
    b->equal = true;
    events.clear();
    tree->_addDevice(d);
    EXPECT_EQ(events, (Events{"d isHID", "a == d", "b == d"}));
    events.clear();
    tree->_removeDevice(d);
    EXPECT_EQ(events, (Events{"a == d", "b == d"}));
    EXPECT_TRUE(tree->getDeviceAtIndex(1) == c);
}

TEST_F(QrxDeviceTreeTest, AComparisonMayTakeTheDeviceBeforeOffTheList)
{
    Events events;
    const DevicePtr a = added(1);
    const mis::swizzler<ComparingDevice> b(new ComparingDevice("b", events));
    tree->_addDevice(b);
    b->onCompare = [&] { tree->_removeDevice(a); };
    b->equal = true;
    tree->_removeDevice(DevicePtr(new FakeDevice(2)));
    EXPECT_EQ(tree->getHIDDeviceCount(), 0U) << "the one that was equal goes, though it has moved up";
}

TEST_F(QrxDeviceTreeTest, AComparisonMayTakeItsOwnDeviceOffTheListAndEndIt)
{
    Events events;
    auto* const a = new ComparingDevice("a", events);
    a->obituary.write(events, "a");
    tree->_addDevice(DevicePtr(a));
    const mis::swizzler<ComparingDevice> b(new ComparingDevice("b", events));
    tree->_addDevice(b);
    const DevicePtr sought(new FakeDevice(2));
    a->onCompare = [&] {
        a->onCompare = nullptr;
        a->equal = true;
        tree->_removeDevice(sought);
        a->equal = false;
        events.push_back("removed");
    };
    events.clear();
    tree->_removeDevice(sought);
    EXPECT_EQ(events, (Events{"a == ?", "a == ?", "removed", "a ends", "b == ?"}));
    EXPECT_TRUE(tree->getDeviceAtIndex(0) == b);
}

TEST_F(QrxDeviceTreeTest, ADeviceThatItsComparisonHasTakenOffIsNotToldOfTwice)
{
    Events events;
    const mis::swizzler<ComparingDevice> a(new ComparingDevice("a", events));
    tree->_addDevice(a);
    added(1);
    const std::string before = out.text();
    const DevicePtr sought(new FakeDevice(2));
    a->equal = true;
    a->onCompare = [&] {
        a->onCompare = nullptr;
        tree->_removeDevice(sought);
    };
    tree->_removeDevice(sought);
    EXPECT_EQ(out.text(), before + kRemovedLine);
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
}

TEST_F(QrxDeviceTreeTest, WithoutADelegateAdditionAndRemovalWriteTheirLinesUnflushed)
{
    const DevicePtr device = added(1);
    EXPECT_EQ(out.text(), kAddedLine);
    tree->_removeDevice(device);
    EXPECT_EQ(out.text(), std::string(kAddedLine) + kRemovedLine);
    EXPECT_EQ(out.flushes(), 0);
}

TEST_F(QrxDeviceTreeTest, WithADelegateAnAdditionCallsItAndARemovalOnlyWritesItsLine)
{
    tree->setDelegate(&delegate);
    const DevicePtr device = added(1);
    EXPECT_EQ(delegate.calls, 1);
    EXPECT_EQ(out.text(), "");
    tree->_removeDevice(device);
    EXPECT_EQ(delegate.calls, 1);
    EXPECT_EQ(out.text(), kRemovedLine);
}

TEST_F(QrxDeviceTreeTest, AnyOtherKindWritesItsNumberEvenWithADelegate)
{
    tree->setDelegate(&delegate);
    tree->deviceNotification(0, DevicePtr());
    tree->deviceNotification(4294967295U, DevicePtr());
    EXPECT_EQ(out.text(), "device notification: id 0\ndevice notification: id 4294967295\n");
    EXPECT_EQ(delegate.calls, 0);
}

TEST_F(QrxDeviceTreeTest, TheDelegateCanBeRemovedAgain)
{
    EXPECT_FALSE(tree->hasDelegate());
    tree->setDelegate(&delegate);
    EXPECT_TRUE(tree->hasDelegate());
    tree->setDelegate(nullptr);
    EXPECT_FALSE(tree->hasDelegate());
    added(1);
    EXPECT_EQ(out.text(), kAddedLine);
}

TEST_F(QrxDeviceTreeTest, RemovingTheSecondOfThreeLeavesTheOthersInOrder)
{
    const DevicePtr first = added(1);
    const DevicePtr second = added(2);
    const DevicePtr third = added(3);
    tree->_removeDevice(second);
    ASSERT_EQ(tree->getHIDDeviceCount(), 2U);
    EXPECT_TRUE(tree->getDeviceAtIndex(0) == first);
    EXPECT_TRUE(tree->getDeviceAtIndex(1) == third);
    EXPECT_EQ(second->getReferenceCount(), 1U);
}

TEST_F(QrxDeviceTreeTest, RemovingWhatIsNotListedDoesNothing)
{
    added(1);
    tree->_removeDevice(DevicePtr(new FakeDevice(2)));
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(out.text(), kAddedLine);
}

TEST_F(QrxDeviceTreeTest, ARemovedDeviceKeepsItsTree)
{
    const DevicePtr device = added(1);
    tree->_removeDevice(device);
    EXPECT_TRUE(device->getDeviceTree() == tree);
    device->_forgetParent(tree.get());
}

TEST(QrxDeviceTreeOnce, NotificationsComeThroughTheVirtualTableAfterTheListHasChanged)
{
    Events events;
    const TreePtr tree(new NotificationLogger(events));
    const DevicePtr device(new FakeDevice(7));
    tree->_addDevice(device);
    tree->_removeDevice(DevicePtr(device));
    EXPECT_EQ(events,
              (Events{"kind 1 of 7, 1 listed, parent is the tree", "kind 2 of 7, 0 listed, parent is the tree"}));
    device->_forgetParent(nullptr);
}

TEST_F(QrxDeviceTreeTest, PopulateAndObserveReplaceTheWantedPairs)
{
    tree->populate(Pairs{{1, 2}, {3, 4}, {5, 0}});
    EXPECT_EQ(tree->getVendorAndProductIDs(), (Pairs{{1, 2}, {3, 4}, {5, 0}}));
    tree->observe(Pairs{{0, 9}});
    EXPECT_EQ(tree->getVendorAndProductIDs(), (Pairs{{0, 9}}));
}

TEST_F(QrxDeviceTreeTest, OnePairIsAListOfOne)
{
    tree->populate(0xFFFF, 1);
    EXPECT_EQ(tree->getVendorAndProductIDs(), (Pairs{{0xFFFF, 1}}));
    tree->observe(2, 0xFFFF);
    EXPECT_EQ(tree->getVendorAndProductIDs(), (Pairs{{2, 0xFFFF}}));
}

TEST_F(QrxDeviceTreeTest, ItsOwnPairsMayBeGivenAgain)
{
    tree->populate(Pairs{{1, 2}, {3, 4}});
    tree->observe(tree->getVendorAndProductIDs());
    EXPECT_EQ(tree->getVendorAndProductIDs(), (Pairs{{1, 2}, {3, 4}}));
}

TEST_F(QrxDeviceTreeTest, ADeviceThatOutlivesItsTreeHasNoParent)
{
    const DevicePtr device = added(1);
    tree.release();
    EXPECT_FALSE(device->_hasParent());
    EXPECT_TRUE(device->getDeviceTree() == nullptr);
    EXPECT_EQ(device->getReferenceCount(), 1U);
}

TEST_F(QrxDeviceTreeTest, NoneOfTheDevicesThatOutliveTheirTreeHasAParent)
{
    const DevicePtr devices[] = {added(1), added(2), added(3)};
    tree.release();
    for (const DevicePtr& device : devices)
        EXPECT_FALSE(device->_hasParent());
}

TEST_F(QrxDeviceTreeTest, AtItsEndTheTreeReleasesItsDevicesFirstToLast)
{
    Events events;
    for (const char* const name : {"first", "second", "third"}) {
        const mis::swizzler<FakeDevice> device(new FakeDevice);
        device->obituary.write(events, name);
        tree->_addDevice(device);
    }
    static_cast<FakeTree&>(*tree).obituary.write(events, "tree");
    tree.release();
    EXPECT_EQ(events, (Events{"tree ends", "first ends", "second ends", "third ends"}));
}

TEST_F(QrxDeviceTreeTest, TheDelegateHearsOfADeviceThatIsListedAndHeldForTheCall)
{
    tree->setDelegate(&delegate);
    bool seen = false;
    delegate.onDeviceAdded = [&](DevicePtr& device) {
        seen = tree->getDeviceAtIndex(0) == device && device->getDeviceTree() == tree;
        tree->_removeDevice(device);
        EXPECT_GE(device->getReferenceCount(), 1U);
    };
    Events events;
    auto* const device = new FakeDevice(1);
    device->obituary.write(events, "device");
    tree->_addDevice(DevicePtr(device));
    EXPECT_TRUE(seen);
    EXPECT_EQ(events, (Events{"device ends"}));
}

TEST_F(QrxDeviceTreeTest, TheDelegateMayDropTheLastHandleOnTheTree)
{
    Events events;
    static_cast<FakeTree&>(*tree).obituary.write(events, "tree");
    tree->setDelegate(&delegate);
    const DevicePtr device(new FakeDevice(1));
    delegate.onDeviceAdded = [&](DevicePtr&) {
        tree.release();
        events.push_back("dropped");
    };
    tree.get()->_addDevice(device);
    EXPECT_EQ(events, (Events{"dropped", "tree ends"}));
    EXPECT_FALSE(device->_hasParent());
}

TEST_F(QrxDeviceTreeTest, TheDelegateMayReplaceItselfForTheNextDevice)
{
    ScriptedTreeDelegate next;
    tree->setDelegate(&delegate);
    delegate.onDeviceAdded = [&](DevicePtr&) { tree->setDelegate(&next); };
    added(1);
    added(2);
    EXPECT_EQ(delegate.calls, 1);
    EXPECT_EQ(next.calls, 1);
}

TEST_F(QrxDeviceTreeTest, AnExceptionOfTheDelegateLeavesTheDeviceListedAndTheCountsRight)
{
    tree->setDelegate(&delegate);
    delegate.onDeviceAdded = [](DevicePtr&) { throw std::runtime_error("no"); };
    const DevicePtr device(new FakeDevice(1));
    EXPECT_THROW(tree->_addDevice(device), std::runtime_error);
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(tree->getReferenceCount(), 1U);
    EXPECT_EQ(device->getReferenceCount(), 2U);
}

TEST_F(QrxDeviceTreeTest, AnEqualObjectThatEndsWithItsRemovalMayLookAtTheList)
{
    Events events;
    auto* const listed = new FakeDevice(1);
    auto* const deviceDelegate = new ScriptedDeviceDelegate(events);
    deviceDelegate->onEnd = [&] { events.push_back(std::to_string(tree->getHIDDeviceCount()) + " listed"); };
    listed->setDelegate(deviceDelegate);
    tree->_addDevice(DevicePtr(listed));
    const DevicePtr other = added(2);
    const DevicePtr equal(new FakeDevice(1));
    tree->_removeDevice(equal);
    EXPECT_EQ(events, (Events{"delegate ends", "1 listed"}));
    EXPECT_TRUE(tree->getDeviceAtIndex(0) == other);
}

TEST(QrxDeviceTreeOnce, ATreeThatNobodyHoldsSurvivesAnAddition)
{
    const CapturedStream out(std::cout);
    FakeTree tree;
    const DevicePtr device(new FakeDevice(1));
    tree._addDevice(device);
    tree._removeDevice(device);
    tree._addDevice(device);
    EXPECT_EQ(tree.getHIDDeviceCount(), 1U);
    EXPECT_EQ(tree.getReferenceCount(), 0U);
}

TEST(QrxDeviceTreeOnce, TheDelegateOfATreeThatNobodyHoldsMayAskForIt)
{
    FakeTree tree;
    ScriptedTreeDelegate delegate;
    tree.setDelegate(&delegate);
    delegate.onDeviceAdded = [&](DevicePtr& device) { EXPECT_EQ(device->getDeviceTree().get(), &tree); };
    tree._addDevice(DevicePtr(new FakeDevice(2)));
    const DevicePtr listed = tree.getDeviceAtIndex(0);
    tree.deviceNotification(1, listed);
    EXPECT_EQ(delegate.calls, 2);
    EXPECT_EQ(tree.getReferenceCount(), 0U);
}

TEST_F(QrxDeviceTreeTest, AnAdditionTakesOneReferenceForTheListAndOneForEachCall)
{
    tree->setDelegate(&delegate);
    const DevicePtr device(new CountedDevice(counts));
    const DevicePtr other = added(1);
    counts.clear();
    tree->_addDevice(device);
    // The call, the list, the notification, the delegate; then all but the list go again.
    EXPECT_EQ(counts, (std::vector<unsigned int>{2, 3, 4, 5, 4, 3, 2}));
    counts.clear();
    tree->_removeDevice(device);
    // The call; the list lets go; the notification; then both calls go.
    EXPECT_EQ(counts, (std::vector<unsigned int>{3, 2, 3, 2, 1}));
    counts.clear();
    device->_handleReport(std::valarray<uint8_t>(), 0);
    EXPECT_EQ(counts, std::vector<unsigned int>()) << "without a device delegate nobody is told who it was";
    device->_forgetParent(nullptr);
}

TEST_F(QrxDeviceTreeTest, ErasingADeviceMovesTheOthersWithoutTouchingTheirCounts)
{
    const DevicePtr first = added(1);
    const DevicePtr second(new CountedDevice(counts));
    tree->_addDevice(second);
    counts.clear();
    tree->_removeDevice(first);
    EXPECT_EQ(counts, std::vector<unsigned int>());
    EXPECT_TRUE(tree->getDeviceAtIndex(0) == second);
}

TEST(QrxDeviceTreeOnce, OnePairGoesThroughTheOverrideOfTheList)
{
    Events events;
    _QrxDeviceTreeImpl::sm_OnPopulate = [&](_QrxDeviceTreeImpl&) { events.push_back("populate"); };
    _QrxDeviceTreeImpl::sm_OnObserve = [&](_QrxDeviceTreeImpl&) { events.push_back("observe"); };
    const TreePtr tree = QrxDeviceTree::NewInstance();
    tree->populate(1, 2);
    tree->observe(3, 4);
    _QrxDeviceTreeImpl::sm_OnPopulate = nullptr;
    _QrxDeviceTreeImpl::sm_OnObserve = nullptr;
    EXPECT_EQ(events, (Events{"populate", "observe"}));
}

TEST(QrxDeviceTreeDeathTest, ComparingWithAnEmptyEntryEndsTheProcess)
{
    EXPECT_EXIT(
        {
            const TreePtr tree(new TreeWithEmptyEntry);
            tree->_addDevice(new FakeDevice(1));
        },
        testing::KilledBySignal(SIGABRT), testing::Eq(emptyHandleLine(269)));
    EXPECT_EXIT(
        {
            const TreePtr tree(new TreeWithEmptyEntry);
            tree->_removeDevice(new FakeDevice(1));
        },
        testing::KilledBySignal(SIGABRT), testing::Eq(emptyHandleLine(269)));
}

TEST(QrxDeviceTreeDeathTest, EndingATreeWithAnEmptyEntryEndsTheProcess)
{
    EXPECT_EXIT({ const TreePtr tree(new TreeWithEmptyEntry); }, testing::KilledBySignal(SIGABRT),
                testing::Eq(emptyHandleLine(249)));
}
