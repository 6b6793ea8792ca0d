#include "QrxHIDDevice.h"

#include "ModelDoubles.h"
#include "QrxHIDDeviceEventInterface.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <iostream>
#include <stdexcept>

namespace {

using Bytes = std::valarray<uint8_t>;
using DevicePtr = mis::swizzler<FakeDevice>;
using Handle = mis::swizzler<QrxHIDDevice>;

/// Answers with the base class's own rules.
class PlainDevice : public FakeDevice {
public:
    bool isHID() const override { return QrxHIDDevice::isHID(); }
    bool operator==(const QrxHIDDevice& other) const override { return QrxHIDDevice::operator==(other); }
    size_t getReportCount() const override
    {
        asked.push_back("getReportCount");
        return QrxHIDDevice::getReportCount();
    }
};

std::string messageOfAccess(const QrxHIDDevice& device, unsigned int index)
{
    try {
        device.getReportAtIndex(index);
    } catch (const std::out_of_range& error) {
        return error.what();
    }
    return "no exception";
}

} // namespace

class QrxHIDDeviceTest : public testing::Test {
protected:
    Events events; // outlives the device, whose delegate writes at its end
    DevicePtr device{new FakeDevice};
    CapturedStream out{std::cout};
    CapturedStream err{std::cerr};

    ScriptedDeviceDelegate* install()
    {
        auto* const delegate = new ScriptedDeviceDelegate(events);
        device->setDelegate(delegate);
        return delegate;
    }
};

TEST_F(QrxHIDDeviceTest, AFreshDeviceHasNeitherReportsNorDelegate)
{
    EXPECT_EQ(device->getReportCount(), 0U);
    EXPECT_FALSE(device->hasDelegate());
}

TEST_F(QrxHIDDeviceTest, AnAccessPastTheEndThrows)
{
    EXPECT_EQ(messageOfAccess(*device, 0), "vector [] access out of range");
    device->_addReport(new FakeReport);
    EXPECT_EQ(messageOfAccess(*device, 0), "no exception");
    EXPECT_EQ(messageOfAccess(*device, 1), "vector [] access out of range");
}

TEST_F(QrxHIDDeviceTest, AnAddedReportIsHeldAndBelowTheDevice)
{
    const mis::swizzler<QrxHIDReport> report(new FakeReport);
    device->_addReport(report);
    EXPECT_TRUE(device->getReportAtIndex(0) == report);
    EXPECT_EQ(report->getReferenceCount(), 2U);
    EXPECT_TRUE(report->getDevice() == device);
    EXPECT_EQ(device->getReferenceCount(), 1U);
    device->_addReport(report);
    EXPECT_EQ(device->getReportCount(), 2U) << "duplicates are not looked for";
}

TEST_F(QrxHIDDeviceTest, AnEmptyReportHandleIsIgnored)
{
    device->_addReport(mis::swizzler<QrxHIDReport>());
    EXPECT_EQ(device->getReportCount(), 0U);
}

TEST_F(QrxHIDDeviceTest, ReportsAreFoundByInterfaceAndReportID)
{
    const mis::swizzler<QrxHIDReport> other(new FakeReport(0, 5));
    const mis::swizzler<QrxHIDReport> wanted(new FakeReport(1, 5));
    device->_addReport(other);
    device->_addReport(wanted);
    device->_addReport(new FakeReport(1, 5));
    EXPECT_TRUE(device->getReport(1, 5) == wanted);
    EXPECT_TRUE(device->getReport(2, 5) == nullptr);
    EXPECT_TRUE(device->getReport(1, 4) == nullptr);
}

TEST_F(QrxHIDDeviceTest, IsHIDOnlyWithReportsAndElements)
{
    const mis::swizzler<PlainDevice> plain(new PlainDevice);
    EXPECT_FALSE(plain->isHID());
    EXPECT_EQ(plain->asked, (Events{"getReportCount"})) << "elements are not counted when there are no reports";
    plain->_addReport(new FakeReport);
    plain->asked.clear();
    EXPECT_FALSE(plain->isHID());
    EXPECT_EQ(plain->asked, (Events{"getReportCount", "getElementCount"}));
    plain->elements.push_back(new FakeCapability);
    EXPECT_TRUE(plain->isHID());
}

TEST_F(QrxHIDDeviceTest, ADeviceEqualsOnlyItself)
{
    const Handle one(new PlainDevice);
    const Handle other(new PlainDevice);
    EXPECT_TRUE(*one == *one);
    EXPECT_FALSE(*one == *other);
}

TEST_F(QrxHIDDeviceTest, InitFindsTheReportsThroughTheVirtualTable)
{
    class Initialised : public FakeDevice {
    public:
        void _findReports() override { ++calls; }
        int calls = 0;
    };
    const mis::swizzler<Initialised> initialised(new Initialised);
    initialised->init();
    EXPECT_EQ(initialised->calls, 1);
}

TEST_F(QrxHIDDeviceTest, WithoutADelegateAReportIsWrittenUnflushed)
{
    device->_handleReport(Bytes{1, 2, 255}, 0);
    EXPECT_EQ(out.text(), "QrxHIDDevice dispatch report: 1 2 255 coming from interface 0\n");
    EXPECT_EQ(out.flushes(), 0);
}

TEST_F(QrxHIDDeviceTest, AnEmptyReportAndANegativeInterfaceAreWritten)
{
    device->_handleReport(Bytes(), -7);
    EXPECT_EQ(out.text(), "QrxHIDDevice dispatch report: coming from interface -7\n");
}

TEST_F(QrxHIDDeviceTest, WithADelegateAReportIsHandedOverAndNothingWritten)
{
    ScriptedDeviceDelegate* const delegate = install();
    delegate->onReport = [&](Bytes& report, Handle& handle) {
        EXPECT_TRUE(handle == device);
        EXPECT_EQ(device->getReferenceCount(), 2U) << "the delegate's handle and the test's";
        report = uint8_t(0);
    };
    const Bytes bytes{1, 255};
    device->_handleReport(bytes, -2);
    EXPECT_EQ(events, (Events{"report [1 255] interface -2"}));
    EXPECT_EQ(bytesText(bytes), "1 255");
    EXPECT_EQ(out.text(), "");
    EXPECT_EQ(device->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceTest, AReplacedDelegateIsNotDeleted)
{
    ScriptedDeviceDelegate* const first = install();
    install();
    EXPECT_EQ(events, Events());
    EXPECT_TRUE(device->hasDelegate());
    device.release();
    EXPECT_EQ(events, (Events{"delegate ends"}));
    delete first;
}

TEST_F(QrxHIDDeviceTest, ARemovedDelegateIsTheCallersAgain)
{
    ScriptedDeviceDelegate* const delegate = install();
    device->setDelegate(nullptr);
    EXPECT_FALSE(device->hasDelegate());
    device.release();
    EXPECT_EQ(events, Events());
    delete delegate;
}

TEST_F(QrxHIDDeviceTest, AtItsEndTheDelegateGoesFirstThenTheReportsInOrder)
{
    for (const char* const name : {"first", "second"}) {
        const mis::swizzler<FakeReport> report(new FakeReport);
        report->obituary.write(events, name);
        device->_addReport(report);
    }
    device->obituary.write(events, "device");
    install();
    device.release();
    EXPECT_EQ(events, (Events{"device ends", "delegate ends", "first ends", "second ends"}));
}

TEST_F(QrxHIDDeviceTest, ADelegateThatEndsWithItsDeviceHearsOfNoEventAnyMore)
{
    class Listener : public ScriptedDeviceDelegate, public QrxHIDDeviceEventInterface {
    public:
        using ScriptedDeviceDelegate::ScriptedDeviceDelegate;
    };
    auto* const listener = new Listener(events);
    device->setDelegate(listener);
    EXPECT_EQ(listener, device->_getEventListener());
    QrxHIDDeviceEventInterface* atTheEnd = listener;
    listener->onEnd = [&atTheEnd, raw = device.get()] { atTheEnd = raw->_getEventListener(); };
    device.release();
    EXPECT_EQ(nullptr, atTheEnd);
}

TEST_F(QrxHIDDeviceTest, AReportThatOutlivesItsDeviceHasNoParent)
{
    const mis::swizzler<QrxHIDReport> report(new FakeReport);
    device->_addReport(report);
    device.release();
    EXPECT_FALSE(report->_hasParent());
    EXPECT_TRUE(report->getDevice() == nullptr);
}

TEST_F(QrxHIDDeviceTest, AtItsEndAnEmptyReportHandleIsPassedOver)
{
    class DeviceWithEmptyEntry : public FakeDevice {
    public:
        DeviceWithEmptyEntry() { _reports.push_back(mis::swizzler<QrxHIDReport>()); }
    };
    DevicePtr gappy(new DeviceWithEmptyEntry);
    const mis::swizzler<QrxHIDReport> report(new FakeReport);
    gappy->_addReport(report);
    gappy.release();
    EXPECT_FALSE(report->_hasParent());
    EXPECT_EQ(report->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceTest, TheDelegateMayDropTheLastHandle)
{
    device->obituary.write(events, "device");
    ScriptedDeviceDelegate* const delegate = install();
    delegate->onReport = [&](Bytes&, Handle&) {
        device.release();
        events.push_back("dropped");
    };
    device.get()->_handleReport(Bytes{1}, 0);
    EXPECT_EQ(events, (Events{"report [1] interface 0", "dropped", "device ends", "delegate ends"}));
}

TEST_F(QrxHIDDeviceTest, TheDelegateMayDropTheLastHandleAndItsOwn)
{
    device->obituary.write(events, "device");
    ScriptedDeviceDelegate* const delegate = install();
    const mis::swizzler<QrxHIDReport> report(new FakeReport);
    device->_addReport(report);
    delegate->onReport = [&](Bytes&, Handle& handle) {
        device.release();
        handle->setDelegate(nullptr);
        handle.release();
        events.push_back("dropped");
    };
    device.get()->_handleReport(Bytes{1}, 0);
    EXPECT_EQ(events, (Events{"report [1] interface 0", "device ends", "dropped"}));
    delete delegate;
}

TEST_F(QrxHIDDeviceTest, TheDelegateMayReplaceItselfAndEnd)
{
    class OneShot : public ScriptedDeviceDelegate {
    public:
        OneShot(Events& events, QrxHIDDeviceDelegateInterface* next) : ScriptedDeviceDelegate(events), _next(next) {}
        void handleReport(Bytes report, Handle handle, int interfaceNumber) override
        {
            ScriptedDeviceDelegate::handleReport(report, handle, interfaceNumber);
            handle->setDelegate(_next);
            delete this;
        }

    private:
        QrxHIDDeviceDelegateInterface* const _next;
    };
    device->setDelegate(new OneShot(events, new ScriptedDeviceDelegate(events)));
    device->_handleReport(Bytes{1}, 0);
    device->_handleReport(Bytes{2}, 0);
    EXPECT_EQ(events, (Events{"report [1] interface 0", "delegate ends", "report [2] interface 0"}));
}

TEST_F(QrxHIDDeviceTest, TheDelegateMayDestroyTheTree)
{
    mis::swizzler<QrxDeviceTree> tree(new FakeTree);
    tree->_addDevice(device);
    ScriptedDeviceDelegate* const delegate = install();
    device->obituary.write(events, "device");
    delegate->onReport = [&](Bytes&, Handle& handle) {
        device.release();
        tree.release();
        events.push_back(handle->getDeviceTree() ? "a tree" : "no tree");
    };
    device.get()->_handleReport(Bytes{1}, 0);
    EXPECT_EQ(events, (Events{"report [1] interface 0", "no tree", "device ends", "delegate ends"}));
}

TEST_F(QrxHIDDeviceTest, AnExceptionOfTheDelegateLeavesTheCountsRightAndTheDeviceUsable)
{
    ScriptedDeviceDelegate* const delegate = install();
    delegate->onReport = [](Bytes&, Handle&) { throw std::runtime_error("no"); };
    EXPECT_THROW(device->_handleReport(Bytes{1}, 0), std::runtime_error);
    EXPECT_EQ(device->getReferenceCount(), 1U);
    delegate->onReport = nullptr;
    device->_handleReport(Bytes{2}, 0);
    EXPECT_EQ(events, (Events{"report [1] interface 0", "report [2] interface 0"}));
}

TEST_F(QrxHIDDeviceTest, AnExceptionFromHandleSetReportLeavesTheCountsRight)
{
    ScriptedDeviceDelegate* const delegate = install();
    delegate->onReport = [](Bytes&, Handle&) { throw std::runtime_error("no"); };
    EXPECT_THROW(device->setReport(1, 2, Bytes{3}, 4), std::runtime_error);
    EXPECT_EQ(events, (Events{"set type 1 id 2 [3] interface 4"}));
    EXPECT_EQ(device->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceTest, AnExceptionAfterTheLastHandleWasDroppedStillEndsTheDevice)
{
    device->obituary.write(events, "device");
    ScriptedDeviceDelegate* const delegate = install();
    delegate->onReport = [&](Bytes&, Handle&) {
        device.release();
        throw std::runtime_error("no");
    };
    EXPECT_THROW(device.get()->_handleReport(Bytes{1}, 0), std::runtime_error);
    EXPECT_EQ(events, (Events{"report [1] interface 0", "device ends", "delegate ends"}));
}

TEST_F(QrxHIDDeviceTest, ADeviceThatNobodyHoldsSurvivesReportsAndDelegates)
{
    PlainDevice unheld;
    unheld.setDelegate(new ScriptedDeviceDelegate(events));
    unheld._addReport(mis::swizzler<QrxHIDReport>(new FakeReport));
    unheld._handleReport(Bytes{1}, 0);
    EXPECT_EQ(unheld.getReferenceCount(), 0U);
    EXPECT_EQ(events, (Events{"report [1] interface 0"}));
}

TEST_F(QrxHIDDeviceTest, AHandleKeptFromAnUnheldDeviceTakesOver)
{
    device.set(nullptr);
    auto* const unheld = new FakeDevice;
    unheld->obituary.write(events, "device");
    auto* const delegate = new ScriptedDeviceDelegate(events);
    Handle kept;
    delegate->onReport = [&](Bytes&, Handle& handle) { kept = handle; };
    unheld->setDelegate(delegate);
    unheld->_handleReport(Bytes{1}, 0);
    EXPECT_EQ(unheld->getReferenceCount(), 1U);
    kept.release();
    EXPECT_EQ(events, (Events{"report [1] interface 0", "device ends", "delegate ends"}));
}

TEST_F(QrxHIDDeviceTest, PrintsItsReportsButNoElementsAtDepth0)
{
    device->vendorName = "Maker";
    device->productName = "Thing \"one\"";
    device->_addReport(new FakeReport(1, 2));
    device->elements.push_back(new FakeCapability);
    EXPECT_EQ(printed(*device, 0, 0),
              "{ object id = # VCollectable.referenceCount = 1  \"Maker\" \"Thing \"one\"\"\n"
              "\tReport: { object id = # VCollectable.referenceCount = 2 HIDElement.interfaceNumber = 1 "
              "HIDElement.reportID = 2 HIDReport.reportSize = 0 HIDReport.reportByteSize = 0 "
              "HIDReport.reportType = 0 }\n"
              "}");
}

TEST_F(QrxHIDDeviceTest, PrintsItsElementsWhenTheDepthIsAbove0)
{
    const mis::swizzler<FakeCollection> collection(new FakeCollection);
    collection->_addElements({new FakeCapability(0, 3)});
    device->elements = {collection};
    EXPECT_EQ(printed(*device, 1, 1),
              "{ object id = # VCollectable.referenceCount = 1  \"\" \"\"\n"
              "\t\tElement: { object id = # VCollectable.referenceCount = 3 HIDElement.interfaceNumber = 0 "
              "HIDElement.reportID = 0 \n"
              "\tElement: { object id = # VCollectable.referenceCount = 2 HIDElement.interfaceNumber = 0 "
              "HIDElement.reportID = 3 HIDCapability.minValue = 0 HIDCapability.maxValue = 0 }}\n"
              "}");
}

TEST_F(QrxHIDDeviceTest, ReportsAndElementsGetOneMoreThanTheIndentAsDepthAndNoIndent)
{
    class PrintingReport : public FakeReport {
    public:
        void print(std::ostream& os, int depth, int indent) const override { os << depth << "," << indent; }
    };
    class PrintingCapability : public FakeCapability {
    public:
        void print(std::ostream& os, int depth, int indent) const override { os << depth << "," << indent; }
    };
    device->_addReport(new PrintingReport);
    device->elements = {new PrintingCapability};
    EXPECT_EQ(printed(*device, 7, 2), "{ object id = # VCollectable.referenceCount = 1  \"\" \"\"\n"
                                      "\t\t\tReport: 3,0\n\t\t\tElement: 3,0\n}");
    EXPECT_EQ(printed(*device, -1, 2), "{ object id = # VCollectable.referenceCount = 1  \"\" \"\"\n"
                                       "\t\t\tReport: 3,0\n}");
}

TEST_F(QrxHIDDeviceTest, PrintsEveryReportAndEveryElementInOrder)
{
    class NamedReport : public FakeReport {
    public:
        explicit NamedReport(char name) : _name(name) {}
        void print(std::ostream& os, int, int) const override { os << _name; }

    private:
        char _name;
    };
    class NamedCapability : public FakeCapability {
    public:
        explicit NamedCapability(char name) : _name(name) {}
        void print(std::ostream& os, int, int) const override { os << _name; }

    private:
        char _name;
    };
    device->_addReport(new NamedReport('a'));
    device->_addReport(new NamedReport('b'));
    device->elements = {new NamedCapability('x'), QrxHIDElementPtr(), new NamedCapability('y')};
    EXPECT_EQ(printed(*device, 1, 0), "{ object id = # VCollectable.referenceCount = 1  \"\" \"\"\n"
                                      "\tReport: a\n\tReport: b\n\tElement: x\n\tElement: y\n}");
}

TEST_F(QrxHIDDeviceTest, AnEmptyHandleMetWhilePrintingIsSkipped)
{
    device->elements = {QrxHIDElementPtr()};
    EXPECT_EQ(printed(*device, 1, 0), "{ object id = # VCollectable.referenceCount = 1  \"\" \"\"\n}");
}

TEST_F(QrxHIDDeviceTest, OperationsThatABackendSuppliesReportThemselvesInTheBase)
{
    const FakeDevice& base = *device;
    device->QrxHIDDevice::open();
    device->QrxHIDDevice::close();
    EXPECT_EQ(base.QrxHIDDevice::getVendorID(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getProductID(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getVendorName(), "");
    EXPECT_EQ(base.QrxHIDDevice::getProductName(), "");
    EXPECT_EQ(base.QrxHIDDevice::getClass(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getSubclass(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getProtocol(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getReleaseNumber(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getPrimaryUsagePage(0), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getPrimaryUsage(0), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getInputReportSize(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getInputReportSize(0), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getOutputReportSize(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getOutputReportSize(0), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getFeatureReportSize(), 0U);
    EXPECT_EQ(base.QrxHIDDevice::getFeatureReportSize(0), 0U);
    device->QrxHIDDevice::_addReport(0, 0, {});
    EXPECT_EQ(base.QrxHIDDevice::getElementCount(), 0U);
    EXPECT_TRUE(base.QrxHIDDevice::getElementAtIndex(0) == nullptr);
    device->QrxHIDDevice::setReport(1, 2, Bytes{3}, 4);
    EXPECT_EQ(device->getReportCount(), 0U);
    EXPECT_EQ(err.text(),
              "virtual void QrxHIDDevice::open() is abstract\n"
              "virtual void QrxHIDDevice::close() is abstract\n"
              "virtual uint32_t QrxHIDDevice::getVendorID() const is abstract\n"
              "virtual uint32_t QrxHIDDevice::getProductID() const is abstract\n"
              "virtual std::string QrxHIDDevice::getVendorName() const is abstract\n"
              "virtual std::string QrxHIDDevice::getProductName() const is abstract\n"
              "virtual uint32_t QrxHIDDevice::getClass() const is abstract\n"
              "virtual uint32_t QrxHIDDevice::getSubclass() const is abstract\n"
              "virtual uint32_t QrxHIDDevice::getProtocol() const is abstract\n"
              "virtual uint32_t QrxHIDDevice::getReleaseNumber() const is abstract\n"
              "virtual uint32_t QrxHIDDevice::getPrimaryUsagePage(int) const is abstract\n"
              "virtual uint32_t QrxHIDDevice::getPrimaryUsage(int) const is abstract\n"
              "virtual size_t QrxHIDDevice::getInputReportSize() const is abstract\n"
              "virtual size_t QrxHIDDevice::getInputReportSize(int) const is abstract\n"
              "virtual size_t QrxHIDDevice::getOutputReportSize() const is abstract\n"
              "virtual size_t QrxHIDDevice::getOutputReportSize(int) const is abstract\n"
              "virtual size_t QrxHIDDevice::getFeatureReportSize() const is abstract\n"
              "virtual size_t QrxHIDDevice::getFeatureReportSize(int) const is abstract\n"
              "virtual void QrxHIDDevice::_addReport(int, unsigned int, "
              "std::vector<QrxHIDCapabilityPtr, std::allocator<QrxHIDCapabilityPtr> >) is abstract\n"
              "virtual size_t QrxHIDDevice::getElementCount() const is abstract\n"
              "virtual QrxHIDElementPtr QrxHIDDevice::getElementAtIndex(unsigned int) const is abstract\n"
              "virtual void QrxHIDDevice::setReport(unsigned int, unsigned int, std::valarray<uint8_t>, int) "
              "is abstract\n");
}

TEST(QrxHIDDeviceOnce, ADelegateThatTwoDevicesHaveIsToldOfInDebugBuilds)
{
#ifdef NDEBUG
    GTEST_SKIP() << "only debug builds check delegates";
#endif
    Events events;
    auto* const delegate = new ScriptedDeviceDelegate(events);
    const DevicePtr second(new FakeDevice);
    testing::internal::CaptureStderr();
    {
        const DevicePtr first(new FakeDevice);
        first->setDelegate(delegate);
        second->setDelegate(delegate);
    }
    second->setDelegate(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDDevice: a delegate is deleted with its device, and another device has it too\n");
}

TEST(QrxHIDDeviceOnce, ADelegateThatGoesFromOneDeviceToAnotherIsNotToldOf)
{
    Events events;
    auto* const delegate = new ScriptedDeviceDelegate(events);
    testing::internal::CaptureStderr();
    {
        const DevicePtr first(new FakeDevice);
        const DevicePtr second(new FakeDevice);
        first->setDelegate(delegate);
        first->setDelegate(nullptr);
        second->setDelegate(delegate);
    }
    EXPECT_EQ(events, Events{"delegate ends"});
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(QrxHIDDeviceDeathTest, ADelegateWhoseDestructorCallsItsDeviceEndsTheProcessAndDebugBuildsSayWhy)
{
#ifdef NDEBUG
    GTEST_SKIP() << "only debug builds check delegates";
#endif
    EXPECT_EXIT(
        {
            Events events;
            DevicePtr device(new FakeDevice);
            auto* const delegate = new ScriptedDeviceDelegate(events);
            QrxHIDDevice* const raw = device.get();
            delegate->onEnd = [raw] { raw->close(); };
            device->setDelegate(delegate);
            device.release();
        },
        testing::KilledBySignal(SIGABRT), testing::HasSubstr("the destructor of a delegate called an operation"));
}

TEST(QrxHIDDeviceDeathTest, LookingPastAnEmptyReportHandleEndsTheProcess)
{
    class DeviceWithEmptyEntry : public FakeDevice {
    public:
        DeviceWithEmptyEntry() { _reports.push_back(mis::swizzler<QrxHIDReport>()); }
    };
    EXPECT_EXIT(
        {
            const DevicePtr gappy(new DeviceWithEmptyEntry);
            gappy->getReport(0, 0);
        },
        testing::KilledBySignal(SIGABRT),
        testing::Eq("IntLibs/QrxHidMgr/Headers/swizzler:249: failed assertion `_pointer != NULL'\n"));
}
