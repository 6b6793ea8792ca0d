#include "BackendTest.h"

#include "QrxHIDDeviceConnectionImpl.h"

#include <cstdlib>

using fake::Dict;
using fake::List;
using fake::Value;
using world::Sample;

namespace {

constexpr int kLastInterruptSystem = 0x103F;
constexpr int kFirstQueueSystem = 0x1040;

/// Setting up, opening, closing and sending.
class QrxHIDDeviceConnectionImplTest : public BackendTest {
protected:
    mis::swizzler<_QrxHIDDeviceConnectionImpl> connectionOf(const fake::FakeEntry& driver)
    {
        mis::swizzler<_QrxHIDDeviceConnectionImpl> connection(new _QrxHIDDeviceConnectionImpl);
        connection->_initWithEntry(driver.handle);
        return connection;
    }
    fake::FakeEntry& addDriver(Dict properties, const std::string& name = "hid")
    {
        return platform.registry.add(nullptr, name, "IOHIDDevice", std::move(properties));
    }
    fake::FakeEntry& addPedal() { return addDriver(world::driverProperties(Sample::kPedal)); }
};

using QrxHIDDeviceConnectionImplDeathTest = QrxHIDDeviceConnectionImplTest;

} // namespace

TEST_F(QrxHIDDeviceConnectionImplTest, IsSetUpAndEndsByTheseCalls)
{
    auto connection = connectionOf(addPedal());
    EXPECT_EQ(platform.log.text(), "IOObjectConformsTo(hid, IOHIDDevice) -> yes\n"
                                   "IOObjectRetain(hid)\n"
                                   "IORegistryEntryCreateCFProperties(hid)\n"
                                   "IOCreatePlugInInterfaceForService(hid)\n"
                                   "hid.QueryInterface(plain)\n"
                                   "IODestroyPlugInInterface(hid)\n");
    platform.log.clear();
    connection.release();
    EXPECT_EQ(platform.log.text(), "hid.close()\n"
                                   "hid.Release()\n"
                                   "CFRelease(hid properties)\n"
                                   "IOObjectRelease(hid)\n");
}

TEST_F(QrxHIDDeviceConnectionImplTest, OpensAndClosesByInterruptWithTheseCalls)
{
    platform.systemVersion = kLastInterruptSystem;
    const auto connection = connectionOf(addPedal());
    platform.log.clear();
    connection->open();
    EXPECT_EQ(platform.log.text(), "hid.open(0)\n"
                                   "Gestalt\n"
                                   "hid.createAsyncEventSource()\n"
                                   "CFRunLoopGetCurrent\n"
                                   "CFRunLoopAddSource(loop, hid-source, kCFRunLoopDefaultMode)\n"
                                   "IORegistryEntryCreateCFProperty(hid, MaxInputReportSize)\n"
                                   "hid.setInterruptReportHandlerCallback(size 1)\n");
    platform.log.clear();
    connection->close();
    EXPECT_EQ(platform.log.text(), "CFRunLoopGetCurrent\n"
                                   "CFRunLoopRemoveSource(loop, hid-source, kCFRunLoopDefaultMode)\n"
                                   "CFRelease(hid-source)\n"
                                   "hid.close()\n");
    EXPECT_THAT(platform.objects.leaks(), testing::Contains("hid.MaxInputReportSize").Times(1));
}

TEST_F(QrxHIDDeviceConnectionImplTest, OpensAndClosesByQueueWithTheseCalls)
{
    platform.systemVersion = kFirstQueueSystem;
    const auto connection = connectionOf(addDriver(world::driverProperties(Sample::kVendor)));
    platform.log.clear();
    connection->open();
    EXPECT_EQ(platform.log.text(), "hid.open(0)\n"
                                   "Gestalt\n"
                                   "IORegistryEntryCreateCFProperty(hid, InputReportElements)\n"
                                   "hid.allocQueue()\n"
                                   "hid.queue.create(0, 64)\n"
                                   "hid.queue.addElement(78, 0)\n"
                                   "hid.queue.addElement(79, 0)\n"
                                   "hid.queue.addElement(80, 0)\n"
                                   "CFRelease(hid.InputReportElements)\n"
                                   "hid.queue.createAsyncEventSource()\n"
                                   "hid.queue.setEventCallout()\n"
                                   "CFRunLoopGetCurrent\n"
                                   "CFRunLoopAddSource(loop, hid-queue-source, kCFRunLoopDefaultMode)\n"
                                   "hid.queue.start()\n");
    platform.log.clear();
    connection->close();
    EXPECT_EQ(platform.log.text(), "hid.queue.stop()\n"
                                   "CFRunLoopGetCurrent\n"
                                   "CFRunLoopRemoveSource(loop, hid-queue-source, kCFRunLoopDefaultMode)\n"
                                   "CFRelease(hid-queue-source)\n"
                                   "hid.queue.dispose()\n"
                                   "hid.queue.Release()\n"
                                   "hid.close()\n");
}

TEST_F(QrxHIDDeviceConnectionImplTest, AnUnknownSystemVersionTakesTheInterruptMode)
{
    platform.systemVersion = kFirstQueueSystem;
    platform.log.failCall("Gestalt");
    const auto connection = connectionOf(addPedal());
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.allocQueue"), 0);
    EXPECT_EQ(platform.log.countOf("hid.setInterruptReportHandlerCallback"), 1);
    connection->close();
}

TEST_F(QrxHIDDeviceConnectionImplTest, WithoutInputReportElementsAQueueSystemFallsBackToInterrupt)
{
    platform.systemVersion = kFirstQueueSystem;
    const auto connection = connectionOf(addDriver({{"MaxInputReportSize", 3}}));
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.allocQueue"), 0);
    EXPECT_EQ(platform.log.countOf("hid.setInterruptReportHandlerCallback(size 3)"), 1);
    connection->close();
}

TEST_F(QrxHIDDeviceConnectionImplTest, InputReportElementsThatAreNoArrayFallBackToInterruptAndAreKept)
{
    platform.systemVersion = kFirstQueueSystem;
    const auto connection = connectionOf(addDriver({{"InputReportElements", 5}}));
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.setInterruptReportHandlerCallback(size 0)"), 1);
    connection->close();
    expectedLeaks = {"hid.InputReportElements"};
}

TEST_F(QrxHIDDeviceConnectionImplTest, AQueueThatCannotBeHadLeavesInputOffAndTheArrayKept)
{
    platform.systemVersion = kFirstQueueSystem;
    platform.log.failCall("allocQueue");
    platform.log.failCall("queue.create");
    const auto connection = connectionOf(addPedal());
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.setInterruptReportHandlerCallback"), 0);
    EXPECT_EQ(platform.log.countOf("hid.queue"), 0);
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.queue."), 1) << "created in vain, and kept until close";
    platform.log.clear();
    connection->close();
    EXPECT_EQ(platform.log.text(), "hid.queue.stop()\nhid.queue.dispose()\nhid.queue.Release()\nhid.close()\n");
    expectedLeaks = {"hid.InputReportElements", "hid.InputReportElements"};
}

TEST_F(QrxHIDDeviceConnectionImplTest, EachFailingStepOfTheQueueStopsTheRest)
{
    platform.systemVersion = kFirstQueueSystem;
    platform.log.failCall("queue.createAsyncEventSource", 1);
    platform.log.failCall("queue.setEventCallout", 1);
    const auto connection = connectionOf(addPedal());
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.queue.setEventCallout"), 0);
    connection->close();
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.queue.setEventCallout"), 1);
    EXPECT_EQ(platform.log.countOf("CFRunLoopAddSource"), 0);
    EXPECT_EQ(platform.log.countOf("hid.queue.start"), 0);
    connection->close();
    EXPECT_EQ(platform.log.countOf("CFRelease(hid-queue-source)"), 1);
}

TEST_F(QrxHIDDeviceConnectionImplTest, EntriesWithoutANumberAsCookieAreNotQueued)
{
    platform.systemVersion = kFirstQueueSystem;
    const auto connection = connectionOf(
        addDriver({{"InputReportElements", List{5, Dict{{"ElementCookie", "7"}}, "x", Dict{{"ElementCookie", 8}}}}}));
    platform.log.failCall("queue.addElement");
    connection->open();
    EXPECT_EQ(platform.log.linesWith({"addElement", "start"}), "hid.queue.addElement(8, 0)\nhid.queue.start()\n");
    connection->close();
}

TEST_F(QrxHIDDeviceConnectionImplDeathTest, AnInputReportElementWithoutACookieEndsTheProcess)
{
    platform.systemVersion = kFirstQueueSystem;
    const auto connection = connectionOf(addDriver({{"InputReportElements", List{Dict{{"ReportID", 0}}}}}));
    EXPECT_DEATH(connection->open(), "CFGetTypeID called without an object");
}

TEST_F(QrxHIDDeviceConnectionImplTest, WithoutASourceTheInterruptModeStopsThere)
{
    platform.log.failCall("createAsyncEventSource");
    const auto connection = connectionOf(addPedal());
    connection->open();
    EXPECT_EQ(platform.log.countOf("CFRunLoop"), 0);
    EXPECT_EQ(platform.log.countOf("hid.setInterrupt"), 0);
    platform.log.clear();
    connection->close();
    EXPECT_EQ(platform.log.text(), "hid.close()\n");
}

TEST_F(QrxHIDDeviceConnectionImplTest, TheElementsAndTheBufferSizeAreReadLive)
{
    auto& driver = addPedal();
    const auto connection = connectionOf(driver);
    driver.properties["MaxInputReportSize"] = Value(9);
    EXPECT_EQ(connection->getInputReportSize(), 1U);
    EXPECT_EQ(connection->_getMaxInputReportSize(), 9U);
    driver.properties.erase("MaxInputReportSize");
    EXPECT_EQ(connection->_getMaxInputReportSize(), 0U);
    driver.properties["InputReportElements"] = Value(List{Dict{{"ElementCookie", 99}}});
    platform.systemVersion = kFirstQueueSystem;
    connection->open();
    EXPECT_EQ(platform.log.linesWith({"addElement"}), "hid.queue.addElement(99, 0)\n");
    connection->close();
}

TEST_F(QrxHIDDeviceConnectionImplTest, ADeviceThatDoesNotOpenStartsNoInput)
{
    platform.log.failCall("open");
    const auto connection = connectionOf(addPedal());
    connection->open();
    EXPECT_EQ(platform.log.countOf("Gestalt"), 0);
}

TEST_F(QrxHIDDeviceConnectionImplTest, WithoutAPlugInNothingIsOpenedClosedOrSent)
{
    platform.log.failCall("IOCreatePlugInInterfaceForService");
    const auto connection = connectionOf(addPedal());
    EXPECT_EQ(platform.log.countOf("IODestroyPlugInInterface"), 0);
    platform.log.clear();
    connection->open();
    connection->setReport(1, 1, bytesOf({1}));
    connection->close();
    connection->_initReportsQueue();
    EXPECT_EQ(platform.log.text(), "");
    EXPECT_EQ(connection->getInputReportSize(), 1U) << "the properties are there all the same";
}

TEST_F(QrxHIDDeviceConnectionImplTest, AFailedQueryLeavesNoDeviceInterface)
{
    platform.log.failCall("QueryInterface");
    const auto connection = connectionOf(addPedal());
    EXPECT_EQ(platform.log.countOf("IODestroyPlugInInterface"), 1);
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.open"), 0);
}

TEST_F(QrxHIDDeviceConnectionImplTest, ASecondDeviceInterfaceIsNotMade)
{
    const auto connection = connectionOf(addPedal());
    connection->_createDeviceInterface();
    EXPECT_EQ(platform.log.countOf("IOCreatePlugInInterfaceForService"), 1);
    connection->_freeDeviceInterface();
    connection->_freeDeviceInterface();
    EXPECT_EQ(platform.log.countOf("hid.Release"), 1);
}

TEST_F(QrxHIDDeviceConnectionImplTest, OpenTwiceByQueueSetsInputUpOnce)
{
    platform.systemVersion = kFirstQueueSystem;
    const auto connection = connectionOf(addPedal());
    connection->open();
    connection->open();
    EXPECT_EQ(platform.log.countOf("hid.open"), 2);
    EXPECT_EQ(platform.log.countOf("hid.allocQueue"), 1);
    connection->close();
}

TEST_F(QrxHIDDeviceConnectionImplTest, OpenTwiceByInterruptKeepsTheFirstSourceAndBuffer)
{
    const auto connection = connectionOf(addPedal());
    connection->open();
    void* firstBuffer = platform.hid.lastBuffer();
    connection->open();
    EXPECT_NE(platform.hid.lastBuffer(), firstBuffer);
    connection->close();
    expectedLeaks = {"hid-source"};
    std::free(firstBuffer);
}

TEST_F(QrxHIDDeviceConnectionImplTest, OnlyTheFirstDriverEntryIsTaken)
{
    const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection(new _QrxHIDDeviceConnectionImpl);
    connection->_initWithEntry(0);
    connection->_initWithEntry(platform.registry.add(nullptr, "if", kIOUSBInterfaceClassName).handle);
    EXPECT_EQ(platform.log.countOf("IOObjectRetain"), 0);
    connection->_initWithEntry(addDriver({{"PrimaryUsage", 1}}).handle);
    connection->_initWithEntry(addDriver({{"PrimaryUsage", 2}}, "other").handle);
    EXPECT_EQ(connection->getPrimaryUsage(), 1U);
    EXPECT_EQ(platform.log.countOf("IOObjectRetain"), 1);
}

TEST_F(QrxHIDDeviceConnectionImplTest, PropertiesAreReadUnderTheirKeys)
{
    const auto connection = connectionOf(addDriver({{"PrimaryUsagePage", 1},
                                                    {"PrimaryUsage", 2},
                                                    {"MaxInputReportSize", 3},
                                                    {"MaxOutputReportSize", 4},
                                                    {"MaxFeatureReportSize", "5"}}));
    EXPECT_EQ(connection->getPrimaryUsagePage(), 1U);
    EXPECT_EQ(connection->getPrimaryUsage(), 2U);
    EXPECT_EQ(connection->getInputReportSize(), 3U);
    EXPECT_EQ(connection->getOutputReportSize(), 4U);
    EXPECT_EQ(connection->getFeatureReportSize(), 0U);
}

TEST_F(QrxHIDDeviceConnectionImplTest, WithoutPropertiesEverythingIsZeroAndTheDeviceInterfaceIsMade)
{
    platform.log.failCall("IORegistryEntryCreateCFProperties");
    const auto connection = connectionOf(addPedal());
    EXPECT_EQ(connection->getInputReportSize(), 0U);
    EXPECT_EQ(connection->_findReportProperties(0), nullptr);
    EXPECT_EQ(connection->_getReportSizeByCookie(5), 0U);
    EXPECT_EQ(connection->__getReportSizeByReportID(0), 0U);
    EXPECT_EQ(platform.log.countOf("hid.QueryInterface"), 1);
}

TEST_F(QrxHIDDeviceConnectionImplTest, TheFirstElementOfAReportIdIsItsDescription)
{
    const auto connection =
        connectionOf(addDriver({{"InputReportElements", List{"x", Dict{{"ReportID", "2"}}, Dict{{"ReportSize", 1}},
                                                             Dict{{"ReportID", 2}, {"ReportSize", 12}},
                                                             Dict{{"ReportID", 2}, {"ReportSize", 13}}}}}));
    const CFDictionaryRef found = connection->_findReportProperties(2);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(fake::objectOf(found, "test")->name, "hid.InputReportElements[3]");
    EXPECT_EQ(fake::objectOf(found, "test")->count, 1) << "borrowed";
    EXPECT_EQ(connection->_findReportProperties(3), nullptr);
}

TEST_F(QrxHIDDeviceConnectionImplTest, AnEmptyPlaceEndsEverySearch)
{
    const auto connection = connectionOf(addDriver(
        {{"InputReportElements", List{Value(), Dict{{"ReportID", 2}, {"ElementCookie", 3}, {"ReportSize", 12}}}}}));
    EXPECT_EQ(connection->_findReportProperties(2), nullptr);
    EXPECT_EQ(connection->_getReportSizeByCookie(3), 0U);
}

TEST_F(QrxHIDDeviceConnectionImplTest, InputReportElementsThatAreNoArrayHoldNothing)
{
    const auto connection = connectionOf(addDriver({{"InputReportElements", Dict{{"ReportID", 2}}}}));
    EXPECT_EQ(connection->_findReportProperties(2), nullptr);
    EXPECT_EQ(connection->_getReportSizeByCookie(0), 0U);
}

TEST_F(QrxHIDDeviceConnectionImplTest, SizesByReportIdComeFromTheTopLevelAndThoseByCookieFromTheElement)
{
    const List elements = {Dict{{"ReportID", 2}, {"ElementCookie", 3}, {"ReportSize", 12}},
                           Dict{{"ReportID", 4}, {"ElementCookie", 5}, {"ReportSize", "x"}}};
    const auto with = connectionOf(addDriver({{"ReportSize", 99}, {"InputReportElements", elements}}));
    EXPECT_EQ(with->__getReportSizeByReportID(2), 99U);
    EXPECT_EQ(with->__getReportSizeByReportID(7), 0U);
    EXPECT_EQ(with->_getReportSizeByCookie(3), 12U);
    EXPECT_EQ(with->_getReportSizeByCookie(5), 0U);
    EXPECT_EQ(with->_getReportSizeByCookie(6), 0U);
    const auto without = connectionOf(addDriver({{"InputReportElements", elements}}));
    EXPECT_EQ(without->__getReportSizeByReportID(2), 0U);
}

TEST_F(QrxHIDDeviceConnectionImplTest, AReportIsSentAsItIsAndSynchronously)
{
    const auto connection = connectionOf(addPedal());
    platform.log.clear();
    connection->setReport(2, 7, bytesOf({9, 8, 7}));
    EXPECT_EQ(platform.log.text(), "hid.setReport(type 2, id 7, 3 bytes, timeout 0)\n");
    EXPECT_EQ(platform.hid.sent.at(0).bytes, (fake::Bytes{9, 8, 7}));
    connection->setReport(2, 7, {});
    EXPECT_EQ(platform.hid.sent.size(), 1U);
    platform.log.failAll("setReport");
    EXPECT_NO_THROW(connection->setReport(2, 7, bytesOf({9})));
}

TEST_F(QrxHIDDeviceConnectionImplTest, ItsInterfaceIsTheNearestAbove)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    const auto connection = connectionOf(addPedal());
    EXPECT_FALSE(connection->_getInterface());
    connection->_setParent(mis::swizzler<QrxDeviceTreeNode>(device->getElementAtIndex(0)));
    EXPECT_EQ(connection->_getInterface(), device->_getInterface(0));
    EXPECT_EQ(connection->getDevice(), device);
}

TEST_F(QrxHIDDeviceConnectionImplTest, DroppedOpenByQueueItKeepsItsQueueAndItsSource)
{
    platform.systemVersion = kFirstQueueSystem;
    auto connection = connectionOf(addPedal());
    connection->open();
    platform.log.clear();
    connection.release();
    EXPECT_EQ(platform.log.text(), "hid.close()\nhid.Release()\nCFRelease(hid properties)\nIOObjectRelease(hid)\n");
    expectedLeaks = {"hid queue x1", "hid-queue-source"};
}
