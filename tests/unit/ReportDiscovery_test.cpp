#include "ModelDoubles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>

namespace {

using CollectionPtr = mis::swizzler<FakeCollection>;
using IDs = std::vector<unsigned int>;

QrxHIDCapabilityPtr capability(int interfaceNumber, unsigned int reportID)
{
    return QrxHIDCapabilityPtr(new FakeCapability(interfaceNumber, reportID));
}

CollectionPtr collection(const std::vector<QrxHIDElementPtr>& children)
{
    CollectionPtr made(new FakeCollection);
    made->_addElements(children);
    return made;
}

/// An element that claims what it is not.
class Impostor : public QrxHIDElement {
public:
    Impostor(bool collectionClaim, bool capabilityClaim) : _collection(collectionClaim), _capability(capabilityClaim) {}
    bool isCollection() const override { return _collection; }
    bool isCapability() const override { return _capability; }
    int32_t getInterfaceNumber() const override { return 0; }
    uint32_t getReportID() const override { return 6; }
    uint32_t getUsagePage() const override { return 0; }
    uint32_t getUsage() const override { return 0; }

private:
    const bool _collection;
    const bool _capability;
};

} // namespace

class ReportDiscovery : public testing::Test {
protected:
    const mis::swizzler<FakeDevice> device{new FakeDevice};

    /// The device's reports as "(interface, report ID) x capabilities".
    std::string reports() const
    {
        std::string text;
        for (unsigned int index = 0; index < device->getReportCount(); ++index) {
            const mis::swizzler<QrxHIDReport> report = device->getReportAtIndex(index);
            text += (text.empty() ? "(" : " (") + std::to_string(report->getInterfaceNumber()) + ", " +
                    std::to_string(report->getReportID()) + ") x " + std::to_string(report->getCapabilityCount());
        }
        return text;
    }
};

TEST_F(ReportDiscovery, ReportsAreOrderedByReportIDThenInterface)
{
    const QrxHIDCapabilityPtr first = capability(1, 2);
    const QrxHIDCapabilityPtr last = capability(1, 2);
    device->elements = {first, capability(0, 2), capability(0, 0), last};
    device->init();
    EXPECT_EQ(reports(), "(0, 0) x 1 (0, 2) x 1 (1, 2) x 2");
    const mis::swizzler<QrxHIDReport> report = device->getReport(1, 2);
    EXPECT_TRUE(report->getCapabilityAtIndex(0) == first);
    EXPECT_TRUE(report->getCapabilityAtIndex(1) == last);
}

TEST_F(ReportDiscovery, ADeviceWithoutNumbersHasOneReport0)
{
    device->elements = {collection({capability(0, 0), capability(0, 0), capability(0, 0)})};
    device->init();
    EXPECT_EQ(reports(), "(0, 0) x 3");
}

TEST_F(ReportDiscovery, InterfacesWithOneReportIDHaveAReportEach)
{
    device->elements = {collection({capability(2, 1)}), collection({capability(-1, 1), capability(2, 1)})};
    device->init();
    EXPECT_EQ(reports(), "(-1, 1) x 1 (2, 1) x 2");
}

TEST_F(ReportDiscovery, CollectionsWithoutCapabilitiesContributeNothing)
{
    device->elements = {collection({collection({})}), collection({})};
    device->init();
    EXPECT_EQ(device->__findReportIDs(), IDs());
    EXPECT_EQ(reports(), "");
}

TEST_F(ReportDiscovery, ACapabilityThatIsReachedTwiceIsListedTwice)
{
    const QrxHIDCapabilityPtr shared = capability(0, 3);
    device->elements = {collection({shared}), collection({shared})};
    device->init();
    EXPECT_EQ(reports(), "(0, 3) x 2");
}

TEST_F(ReportDiscovery, IDsAreSortedAsUnsignedValues)
{
    device->elements = {capability(0, 0x80000000), collection({capability(0, 1), capability(0, 7)}), capability(0, 1)};
    EXPECT_EQ(device->__findReportIDs(), (IDs{1, 7, 0x80000000}));
    device->init();
    EXPECT_EQ(reports(), "(0, 1) x 2 (0, 7) x 1 (0, 2147483648) x 1");
}

TEST_F(ReportDiscovery, CapabilitiesAreInDepthFirstOrderAndHeld)
{
    const QrxHIDCapabilityPtr a = capability(0, 1);
    const QrxHIDCapabilityPtr b = capability(0, 1);
    const QrxHIDCapabilityPtr c = capability(0, 1);
    const QrxHIDCapabilityPtr d = capability(0, 1);
    device->elements = {collection({a, collection({b, capability(0, 2)}), c}), d};
    {
        const std::vector<QrxHIDCapabilityPtr> found = device->_findCapabilitiesByReportID(1);
        EXPECT_TRUE(found == (std::vector<QrxHIDCapabilityPtr>{a, b, c, d}));
        EXPECT_EQ(a->getReferenceCount(), 3U);
    }
    EXPECT_EQ(a->getReferenceCount(), 2U);
    EXPECT_TRUE(device->_findCapabilitiesByReportID(9).empty());
}

TEST_F(ReportDiscovery, ACollectionAnswersForItsWholeSubtree)
{
    const QrxHIDCapabilityPtr inner = capability(0, 9);
    const QrxHIDCapabilityPtr outer = capability(0, 9);
    const CollectionPtr top = collection({capability(0, 4), collection({inner, capability(0, 2)}), outer});
    EXPECT_EQ(top->_findReportIDs(), (IDs{2, 4, 9}));
    EXPECT_TRUE(top->_findCapabilitiesByReportID(9) == (std::vector<QrxHIDCapabilityPtr>{inner, outer}));
}

TEST_F(ReportDiscovery, ElementsOfNeitherKindContributeNothing)
{
    device->elements = {QrxHIDElementPtr(new Impostor(false, false)), QrxHIDElementPtr(new FakeReport(0, 4))};
    EXPECT_EQ(device->__findReportIDs(), IDs());
}

TEST_F(ReportDiscovery, AnElementThatOnlyClaimsToBeACollectionIsSkipped)
{
    device->elements = {QrxHIDElementPtr(new Impostor(true, false)), capability(0, 1)};
    device->init();
    EXPECT_EQ(reports(), "(0, 1) x 1");
}

TEST_F(ReportDiscovery, AnElementThatOnlyClaimsToBeACapabilityIsAnEmptyHandle)
{
    device->elements = {QrxHIDElementPtr(new Impostor(true, true))};
    EXPECT_EQ(device->__findReportIDs(), (IDs{6}));
    const std::vector<QrxHIDCapabilityPtr> found = device->_findCapabilitiesByReportID(6);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_TRUE(found[0] == nullptr);
}

TEST_F(ReportDiscovery, AsksThroughTheVirtualTableOncePerReportIDAndPerReport)
{
    class Stepwise : public FakeDevice {
    public:
        using FakeDevice::_addReport;
        std::vector<unsigned int> __findReportIDs() const override
        {
            steps.push_back("ids");
            return {3, 5};
        }
        std::vector<QrxHIDCapabilityPtr> _findCapabilitiesByReportID(unsigned int reportID) override
        {
            steps.push_back("capabilities " + std::to_string(reportID));
            if (reportID == 3)
                return {};
            return {capability(1, reportID), capability(0, reportID)};
        }
        void _addReport(int interfaceNumber, unsigned int reportID, std::vector<QrxHIDCapabilityPtr> found) override
        {
            steps.push_back("report (" + std::to_string(interfaceNumber) + ", " + std::to_string(reportID) + ") x " +
                            std::to_string(found.size()));
        }
        mutable Events steps;
    };
    const mis::swizzler<Stepwise> stepwise(new Stepwise);
    stepwise->_findReports();
    EXPECT_EQ(stepwise->steps,
              (Events{"ids", "capabilities 3", "capabilities 5", "report (0, 5) x 1", "report (1, 5) x 1"}));
}

TEST_F(ReportDiscovery, EachCapabilityIsAskedForItsInterfaceOnceBeforeTheFirstReport)
{
    class AskedCapability : public FakeCapability {
    public:
        AskedCapability(int32_t interface, Events& steps) : FakeCapability(interface, 5), _steps(steps) {}
        int32_t getInterfaceNumber() const override
        {
            _steps.push_back("asked " + std::to_string(interfaceNumber));
            return interfaceNumber;
        }

    private:
        Events& _steps;
    };
    class Stepwise : public FakeDevice {
    public:
        using FakeDevice::_addReport;
        void _addReport(int interfaceNumber, unsigned int, std::vector<QrxHIDCapabilityPtr> found) override
        {
            steps.push_back("report " + std::to_string(interfaceNumber) + " x " + std::to_string(found.size()));
        }
        Events steps;
    };
    const mis::swizzler<Stepwise> stepwise(new Stepwise);
    for (const int32_t interface : {2, 0, 2, 1})
        stepwise->elements.push_back(QrxHIDElementPtr(new AskedCapability(interface, stepwise->steps)));
    stepwise->_findReports();
    EXPECT_EQ(stepwise->steps,
              (Events{"asked 2", "asked 0", "asked 2", "asked 1", "report 0 x 1", "report 1 x 1", "report 2 x 2"}));
}

TEST_F(ReportDiscovery, TheElementCountIsReadAgainBeforeEachStep)
{
    device->elements = {capability(0, 1), capability(0, 2)};
    device->asked.clear();
    device->__findReportIDs();
    EXPECT_EQ(device->asked.size(), 3U);
}

TEST_F(ReportDiscovery, ReportsKeepTheirCapabilitiesAfterTheElementTreeIsGone)
{
    const QrxHIDCapabilityPtr kept = capability(0, 1);
    device->elements = {collection({kept})};
    device->init();
    device->elements.clear();
    EXPECT_EQ(kept->getReferenceCount(), 2U);
    EXPECT_TRUE(kept->getParentCollection() == nullptr);
    EXPECT_TRUE(device->getReport(0, 1)->getCapabilityAtIndex(0) == kept);
}

TEST(ReportDiscoveryDeathTest, AnEmptyElementHandleEndsTheProcess)
{
    const mis::swizzler<FakeDevice> device(new FakeDevice);
    device->elements = {QrxHIDElementPtr()};
    EXPECT_EXIT(device->init(), testing::KilledBySignal(SIGABRT),
                testing::Eq("IntLibs/QrxHidMgr/Headers/swizzler:249: failed assertion `_pointer != NULL'\n"));
}
