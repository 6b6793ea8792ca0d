#include "QrxDeviceTreeInterface.h"

#include "ModelDoubles.h"
#include "QrxDeviceTreeImpl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <iostream>
#include <stdexcept>

namespace {

using Pairs = std::vector<std::pair<unsigned short, unsigned short>>;
using Bytes = std::valarray<unsigned char>;

// The facade's destructor is not virtual, and nothing here destroys one through its base.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
/// Shows what the facade keeps.
class OpenFacade : public QrxDeviceTreeInterface {
public:
    using QrxDeviceTreeInterface::_applicationOwner;
    using QrxDeviceTreeInterface::_deviceInterface;
    using QrxDeviceTreeInterface::_deviceTree;
    using QrxDeviceTreeInterface::_vendorAndProductIDs;
};
#pragma GCC diagnostic pop

const char* const kEmptyHandle = "IntLibs/QrxHidMgr/Headers/swizzler:249: failed assertion `_pointer != NULL'\n";

} // namespace

class QrxDeviceTreeInterfaceTest : public testing::Test {
protected:
    QrxDeviceTreeInterfaceTest()
    {
        _QrxDeviceTreeImpl::sm_OnPopulate = [this](_QrxDeviceTreeImpl& tree) {
            populated = tree.getVendorAndProductIDs();
            for (const mis::swizzler<FakeDevice>& device : present)
                tree._addDevice(device);
        };
        _QrxDeviceTreeImpl::sm_OnObserve = [this](_QrxDeviceTreeImpl& tree) {
            observed = tree.getVendorAndProductIDs();
        };
    }
    ~QrxDeviceTreeInterfaceTest() override
    {
        _QrxDeviceTreeImpl::sm_OnPopulate = nullptr;
        _QrxDeviceTreeImpl::sm_OnObserve = nullptr;
    }

    Pairs populated;
    Pairs observed;
    std::vector<mis::swizzler<FakeDevice>> present;
    CapturedStream out{std::cout};
    OpenFacade facade;
};

TEST_F(QrxDeviceTreeInterfaceTest, ANewFacadeHasNothing)
{
    EXPECT_TRUE(facade._vendorAndProductIDs.empty());
    EXPECT_TRUE(facade._deviceTree == nullptr);
    EXPECT_EQ(facade._deviceInterface, -1);
}

TEST_F(QrxDeviceTreeInterfaceTest, KeepsTheApplicationsPointerAndInterface)
{
    int owner = 0;
    facade.setApplicationOwner(&owner);
    facade.setDeviceInterface(3);
    EXPECT_EQ(facade._applicationOwner, &owner);
    EXPECT_EQ(facade._deviceInterface, 3);
}

TEST_F(QrxDeviceTreeInterfaceTest, CreatesAndPopulatesThePlatformsTree)
{
    facade.createDeviceTree(Pairs{{1, 2}, {3, 0}});
    EXPECT_NE(dynamic_cast<_QrxDeviceTreeImpl*>(facade._deviceTree.get()), nullptr);
    EXPECT_EQ(facade._deviceTree->getReferenceCount(), 1U);
    EXPECT_EQ(populated, (Pairs{{1, 2}, {3, 0}}));
    EXPECT_EQ(facade._vendorAndProductIDs, (Pairs{{1, 2}, {3, 0}}));
    EXPECT_TRUE(observed.empty());
}

TEST_F(QrxDeviceTreeInterfaceTest, CreatingAgainLeavesOneTreeForTheSecondList)
{
    facade.createDeviceTree(Pairs{{1, 2}});
    facade.createDeviceTree(Pairs{{3, 4}});
    EXPECT_EQ(_QrxDeviceTreeImpl::sm_LiveTrees, 1);
    EXPECT_EQ(facade._deviceTree->getVendorAndProductIDs(), (Pairs{{3, 4}}));
    EXPECT_EQ(facade._vendorAndProductIDs, (Pairs{{3, 4}}));
}

TEST_F(QrxDeviceTreeInterfaceTest, AFirstTreeThatIsHeldSurvivesTheSecond)
{
    facade.createDeviceTree(Pairs{{1, 2}});
    const mis::swizzler<QrxDeviceTree> first = facade._deviceTree;
    facade.createDeviceTree(Pairs{{3, 4}});
    EXPECT_EQ(_QrxDeviceTreeImpl::sm_LiveTrees, 2);
    EXPECT_EQ(first->getReferenceCount(), 1U);
}

TEST_F(QrxDeviceTreeInterfaceTest, CreatesAgainForThePairsOfTheTreeThatGoes)
{
    facade.createDeviceTree(Pairs{{1, 2}, {3, 4}});
    facade.createDeviceTree(facade._deviceTree->getVendorAndProductIDs());
    EXPECT_EQ(populated, (Pairs{{1, 2}, {3, 4}}));
}

TEST_F(QrxDeviceTreeInterfaceTest, ItsEndReleasesTheTree)
{
    {
        QrxDeviceTreeInterface other;
        other.createDeviceTree(Pairs());
        EXPECT_EQ(_QrxDeviceTreeImpl::sm_LiveTrees, 1);
    }
    EXPECT_EQ(_QrxDeviceTreeImpl::sm_LiveTrees, 0);
}

TEST_F(QrxDeviceTreeInterfaceTest, StartingObservesAndWritesTheCount)
{
    present = {new FakeDevice(1), new FakeDevice(2)};
    facade.createDeviceTree(Pairs{{1, 2}});
    const std::string before = out.text();
    EXPECT_TRUE(facade.startTheDeviceService());
    EXPECT_EQ(observed, (Pairs{{1, 2}}));
    EXPECT_EQ(out.text().substr(before.size()), "QrxDeviceTreeInterface() Device count in tree = 2\n");
    EXPECT_EQ(out.flushes(), 0);
}

TEST_F(QrxDeviceTreeInterfaceTest, TheCountIsReadAfterObserving)
{
    facade.createDeviceTree(Pairs());
    _QrxDeviceTreeImpl::sm_OnObserve = [](_QrxDeviceTreeImpl& tree) {
        tree._addDevice(mis::swizzler<QrxHIDDevice>(new FakeDevice(1)));
    };
    facade.startTheDeviceService();
    EXPECT_EQ(out.text(), "device notification: device added\nQrxDeviceTreeInterface() Device count in tree = 1\n");
}

TEST_F(QrxDeviceTreeInterfaceTest, AnyExceptionWhileStartingWritesOopsAndStillAnswersTrue)
{
    facade.createDeviceTree(Pairs());
    _QrxDeviceTreeImpl::sm_OnObserve = [](_QrxDeviceTreeImpl&) { throw std::runtime_error("no"); };
    EXPECT_TRUE(facade.startTheDeviceService());
    _QrxDeviceTreeImpl::sm_OnObserve = [](_QrxDeviceTreeImpl&) { throw 1; };
    EXPECT_TRUE(facade.startTheDeviceService());
    EXPECT_EQ(out.text(), "OopsOops");
}

TEST_F(QrxDeviceTreeInterfaceTest, StoppingChangesNothing)
{
    present = {new FakeDevice(1)};
    facade.createDeviceTree(Pairs{{1, 2}});
    facade.startTheDeviceService();
    const std::string before = out.text();
    facade.stopTheDeviceService();
    EXPECT_EQ(out.text(), before);
    EXPECT_EQ(facade._deviceTree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(facade._deviceTree->getVendorAndProductIDs(), (Pairs{{1, 2}}));
}

TEST_F(QrxDeviceTreeInterfaceTest, SendsToTheFirstDeviceWhateverTheInterface)
{
    present = {new FakeDevice(1), new FakeDevice(2)};
    facade.createDeviceTree(Pairs());
    facade.setDeviceInterface(3);
    EXPECT_TRUE(facade.setOutputReport(1, 7, Bytes{8, 9}, 5));
    EXPECT_TRUE(facade.setOutputReport(2, 0, Bytes{1}, -1));
    EXPECT_EQ(present[0]->sent, (Events{"type 1 id 7 interface 5 bytes [8 9]", "type 2 id 0 interface -1 bytes [1]"}));
    EXPECT_EQ(present[1]->sent, Events());
    EXPECT_EQ(present[0]->getReferenceCount(), 2U);
}

TEST_F(QrxDeviceTreeInterfaceTest, SendsAnEmptyReport)
{
    present = {new FakeDevice(1)};
    facade.createDeviceTree(Pairs());
    EXPECT_TRUE(facade.setOutputReport(1, 0, Bytes(), 0));
    EXPECT_EQ(present[0]->sent, (Events{"type 1 id 0 interface 0 bytes []"}));
}

TEST_F(QrxDeviceTreeInterfaceTest, SendingWithoutADeviceThrows)
{
    facade.createDeviceTree(Pairs());
    try {
        facade.setOutputReport(1, 0, Bytes{1}, 0);
        FAIL() << "no exception";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "vector [] access out of range");
    }
}

TEST_F(QrxDeviceTreeInterfaceTest, TheDelegateMayTakeTheDeviceAwayWhileSending)
{
    Events events;
    present = {new FakeDevice(1)};
    facade.createDeviceTree(Pairs());
    auto* const delegate = new ScriptedDeviceDelegate(events);
    present[0]->setDelegate(delegate);
    present[0]->obituary.write(events, "device");
    delegate->onReport = [&](Bytes&, mis::swizzler<QrxHIDDevice>& device) {
        facade._deviceTree->_removeDevice(device);
        present.clear();
        events.push_back("taken away");
    };
    EXPECT_TRUE(facade.setOutputReport(1, 2, Bytes{3}, 4));
    EXPECT_EQ(events, (Events{"set type 1 id 2 [3] interface 4", "taken away", "device ends", "delegate ends"}));
}

TEST(QrxDeviceTreeInterfaceDeathTest, StartingWithoutATreeEndsTheProcess)
{
    EXPECT_EXIT(QrxDeviceTreeInterface().startTheDeviceService(), testing::KilledBySignal(SIGABRT),
                testing::Eq(kEmptyHandle));
}

TEST(QrxDeviceTreeInterfaceDeathTest, SendingWithoutATreeEndsTheProcess)
{
    EXPECT_EXIT(QrxDeviceTreeInterface().setOutputReport(1, 0, Bytes{1}, 0), testing::KilledBySignal(SIGABRT),
                testing::Eq(kEmptyHandle));
}
