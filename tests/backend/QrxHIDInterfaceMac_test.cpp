#include "BackendTest.h"

#include "QrxHIDInterfaceMac.h"

#include <cstdlib>
#include <stdexcept>

using fake::Dict;
using fake::List;
using fake::Value;
using world::field;
using world::Sample;

namespace {

class QrxHIDInterfaceMacTest : public BackendTest {
protected:
    mis::swizzler<_QrxHIDInterfaceMac> interfaceOf(const fake::FakeEntry& entry)
    {
        mis::swizzler<_QrxHIDInterfaceMac> interface(new _QrxHIDInterfaceMac);
        interface->_initWithEntry(entry.handle);
        return interface;
    }
    fake::FakeEntry& addInterface(Dict properties = {})
    {
        return platform.registry.add(nullptr, "if", kIOUSBInterfaceClassName, std::move(properties));
    }
};

} // namespace

TEST_F(QrxHIDInterfaceMacTest, PropertiesAreReadFromTheInterfaceEntry)
{
    const auto interface = interfaceOf(addInterface({{"idVendor", 1},
                                                     {"idProduct", 2},
                                                     {"bInterfaceClass", 3},
                                                     {"bInterfaceSubClass", 4},
                                                     {"bInterfaceProtocol", 5},
                                                     {"bInterfaceNumber", 6}}));
    EXPECT_EQ(interface->getVendorID(), 1U);
    EXPECT_EQ(interface->getProductID(), 2U);
    EXPECT_EQ(interface->getClass(), 3U);
    EXPECT_EQ(interface->getSubclass(), 4U);
    EXPECT_EQ(interface->getProtocol(), 5U);
    EXPECT_EQ(interface->getInterfaceNumber(), 6);
}

TEST_F(QrxHIDInterfaceMacTest, WithoutANumberItIsInterfaceZero)
{
    EXPECT_EQ(interfaceOf(addInterface({{"bInterfaceNumber", "6"}}))->getInterfaceNumber(), 0);
    platform.log.failAll("IORegistryEntryCreateCFProperties");
    EXPECT_EQ(interfaceOf(addInterface({{"bInterfaceNumber", 6}}))->getInterfaceNumber(), 0);
}

TEST_F(QrxHIDInterfaceMacTest, WithoutAConnectionEverythingForwardedIsZeroAndNothingIsSent)
{
    const auto interface = interfaceOf(addInterface());
    EXPECT_EQ(interface->getPrimaryUsagePage(), 0U);
    EXPECT_EQ(interface->getPrimaryUsage(), 0U);
    EXPECT_EQ(interface->getInputReportSize(), 0U);
    EXPECT_EQ(interface->getOutputReportSize(), 0U);
    EXPECT_EQ(interface->getFeatureReportSize(), 0U);
    EXPECT_EQ(interface->_findReportProperties(0), nullptr);
    EXPECT_FALSE(interface->isHID());
    platform.log.clear();
    interface->open();
    interface->setReport(1, 1, bytesOf({1}));
    interface->close();
    EXPECT_EQ(platform.log.text(), "");
}

TEST_F(QrxHIDInterfaceMacTest, ElementsWithoutADriverAreNotHid)
{
    auto& entry = addInterface({{"Elements", List{field(1, 1, 0, 1, 1)}}});
    platform.registry.add(&entry, "child", "IOService");
    const auto interface = interfaceOf(entry);
    EXPECT_EQ(interface->getElementCount(), 1U);
    EXPECT_FALSE(interface->isHID());
    EXPECT_EQ(interface->getInputReportSize(), 0U);
}

TEST_F(QrxHIDInterfaceMacTest, ADriverWithoutElementsIsNotHid)
{
    auto& entry = addInterface();
    auto& hid = platform.registry.add(&entry, "hid", "IOHIDDevice", {{"Elements", List{}}, {"PrimaryUsage", 3}});
    platform.registry.add(&hid, "client", "IOHIDInterface");
    const auto interface = interfaceOf(entry);
    EXPECT_EQ(interface->getElementCount(), 0U);
    EXPECT_EQ(interface->getPrimaryUsage(), 3U);
    EXPECT_FALSE(interface->isHID());
}

TEST_F(QrxHIDInterfaceMacTest, AnIndexPastTheElementsThrows)
{
    addDevice("usb1", {Sample::kPedal});
    const auto interface = interfaceOf(entry("usb1-if0"));
    ASSERT_EQ(interface->getElementCount(), 1U);
    EXPECT_TRUE(interface->getElementAtIndex(0));
    try {
        interface->getElementAtIndex(1);
        FAIL() << "nothing was thrown";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "vector [] access out of range");
    }
}

TEST_F(QrxHIDInterfaceMacTest, InterfacesAreEqualWhenTheirEntriesAre)
{
    const auto& entry = addInterface();
    const auto& otherEntry = addInterface();
    const mis::swizzler<_QrxHIDInterfaceMac> empty(new _QrxHIDInterfaceMac);
    const mis::swizzler<_QrxHIDInterfaceMac> alsoEmpty(new _QrxHIDInterfaceMac);
    const auto interface = interfaceOf(entry);
    EXPECT_TRUE(*interface == *interfaceOf(entry));
    EXPECT_FALSE(*interface == *interfaceOf(otherEntry));
    platform.log.clear();
    EXPECT_FALSE(*interface == *empty);
    EXPECT_FALSE(*empty == *interface);
    EXPECT_TRUE(*empty == *alsoEmpty);
    EXPECT_EQ(platform.log.text(), "") << "the platform is not asked about nothing";
}

TEST_F(QrxHIDInterfaceMacTest, OnlyTheFirstInterfaceEntryIsTaken)
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface(new _QrxHIDInterfaceMac);
    interface->_initWithEntry(0);
    interface->_initWithEntry(platform.registry.add(nullptr, "hid", "IOHIDDevice").handle);
    const auto& first = addInterface({{"bInterfaceNumber", 1}});
    const auto& second = addInterface({{"bInterfaceNumber", 2}});
    interface->_initWithEntry(first.handle);
    interface->_initWithEntry(second.handle);
    EXPECT_EQ(interface->getInterfaceNumber(), 1);
    EXPECT_EQ(platform.registry.references(first), 1);
    EXPECT_EQ(platform.registry.references(second), 0);
}

TEST_F(QrxHIDInterfaceMacTest, ElementsThatOutliveTheInterfaceForgetIt)
{
    addDevice("usb1", {Sample::kPedal});
    auto interface = interfaceOf(entry("usb1-if0"));
    const mis::swizzler<QrxHIDElement> kept = interface->getElementAtIndex(0);
    EXPECT_EQ(kept->_getParent().get(), interface.get());
    interface.release();
    EXPECT_FALSE(kept->_hasParent());
}

TEST_F(QrxHIDInterfaceMacTest, InputHandedToTheInterfaceGoesNowhere)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    DeviceRecord record;
    RecordingDeviceDelegate delegate(record); // taken back at the end
    device->setDelegate(&delegate);
    device->_getInterface(0)->__handleReport(bytesOf({1}));
    EXPECT_TRUE(record.lines.empty());
    device->setDelegate(nullptr);
}

TEST_F(QrxHIDInterfaceMacTest, AnInterfaceThatIsDroppedOpenIsNotStopped)
{
    addDevice("usb1", {Sample::kPedal});
    auto interface = interfaceOf(entry("usb1-if0"));
    interface->open();
    platform.log.clear();
    interface.release();
    EXPECT_EQ(platform.log.linesWith({"hid0.close", "hid0.Release", "CFRunLoop"}),
              "usb1-hid0.close()\nusb1-hid0.Release()\n");
    expectedLeaks = {"usb1-hid0-source"};
    // The buffer is the other thing that an open connection keeps; nobody but the platform knows it any more.
    std::free(platform.hid.lastBuffer());
}

TEST_F(QrxHIDInterfaceMacTest, AnInterfaceOnAStackMayBeSetUp)
{
    addDevice("usb1", {});
    auto& entry = platform.registry.add(nullptr, "if", kIOUSBInterfaceClassName);
    auto& hid = platform.registry.add(&entry, "hid", "IOHIDDevice", world::driverProperties(Sample::kPedal));
    platform.registry.add(&hid, "client", "IOHIDInterface");
    _QrxHIDInterfaceMac interface;
    interface._initWithEntry(entry.handle);
    EXPECT_TRUE(interface.isHID());
    EXPECT_EQ(interface.getReferenceCount(), 0U);
}
