#include "BackendTest.h"

#include "QrxHIDInterfaceMac.h"
#include "QrxHIDReport.h"
#include "QrxHIDReportImpl.h"

#include <sstream>
#include <stdexcept>

using fake::Text;
using fake::Value;
using world::Sample;

namespace {

class QrxHIDDeviceImplTest : public BackendTest {
protected:
    std::string vendorNameOf(const Value& name)
    {
        auto& entry = platform.registry.add(nullptr, "named", kIOUSBDeviceClassName, {{"USB Vendor Name", name}});
        return deviceOf(entry)->getVendorName();
    }
};

} // namespace

TEST_F(QrxHIDDeviceImplTest, ADeviceIsBuiltByTheseCalls)
{
    const auto& entry = addDevice("usb1", {Sample::kPedal});
    const auto device = deviceOf(entry);
    EXPECT_EQ(platform.log.text(), "IOObjectConformsTo(usb1, " kIOUSBDeviceClassName ") -> yes\n"
                                   "IOObjectRetain(usb1)\n"
                                   "IORegistryEntryCreateCFProperties(usb1)\n"
                                   "IORegistryEntryGetChildIterator(usb1)\n"
                                   "IOIteratorNext(children(usb1)) -> usb1-if0\n"
                                   "IOObjectConformsTo(usb1-if0, " kIOUSBInterfaceClassName ") -> yes\n"
                                   // the interface
                                   "IOObjectConformsTo(usb1-if0, " kIOUSBInterfaceClassName ") -> yes\n"
                                   "IOObjectRetain(usb1-if0)\n"
                                   "IORegistryEntryCreateCFProperties(usb1-if0)\n"
                                   // its elements
                                   "IORegistryEntryGetChildIterator(usb1-if0)\n"
                                   "IOIteratorNext(children(usb1-if0)) -> usb1-hid0\n" +
                                       elementsMissing("usb1-if0") +
                                       "IORegistryEntryGetChildIterator(usb1-hid0)\n"
                                       "IOIteratorNext(children(usb1-hid0)) -> usb1-client0\n" +
                                       elementsRead("usb1-hid0") +
                                       "CFRetain(usb1-hid0.Elements[0])\n"
                                       "CFRetain(usb1-hid0.Elements[0].Elements[0])\n"
                                       "CFRetain(usb1-hid0.Elements[0].Elements[1])\n"
                                       "CFRetain(usb1-hid0.Elements[0].Elements[2])\n"
                                       "IOObjectRelease(usb1-client0)\n"
                                       "IOIteratorNext(children(usb1-hid0)) -> 0\n"
                                       "IOObjectRelease(children(usb1-hid0))\n"
                                       "IOObjectRelease(usb1-hid0)\n"
                                       "IOIteratorNext(children(usb1-if0)) -> 0\n"
                                       "IOObjectRelease(children(usb1-if0))\n"
                                       // its driver
                                       "IORegistryEntryGetChildIterator(usb1-if0)\n"
                                       "IOIteratorNext(children(usb1-if0)) -> usb1-hid0\n"
                                       "IOObjectConformsTo(usb1-hid0, IOHIDDevice) -> yes\n"
                                       "IOObjectConformsTo(usb1-hid0, IOHIDDevice) -> yes\n"
                                       "IOObjectRetain(usb1-hid0)\n"
                                       "IORegistryEntryCreateCFProperties(usb1-hid0)\n"
                                       "IOCreatePlugInInterfaceForService(usb1-hid0)\n"
                                       "usb1-hid0.QueryInterface(plain)\n"
                                       "IODestroyPlugInInterface(usb1-hid0)\n"
                                       "IOObjectRelease(usb1-hid0)\n"
                                       "IOObjectRelease(children(usb1-if0))\n"
                                       // back in the device
                                       "IOObjectRelease(usb1-if0)\n"
                                       "IOIteratorNext(children(usb1)) -> 0\n"
                                       "IOObjectRelease(children(usb1))\n"
                                       // the report's dictionary
                                       "CFRetain(usb1-hid0.InputReportElements[0])\n");
}

TEST_F(QrxHIDDeviceImplTest, ADeviceEndsByTheseCalls)
{
    const auto& entry = addDevice("usb1", {Sample::kPedal});
    auto device = deviceOf(entry);
    platform.log.clear();
    device.release();
    EXPECT_EQ(platform.log.text(), "IOObjectRelease(usb1)\n"
                                   "CFRelease(usb1 properties)\n"
                                   // the interface, then its connection, then its elements
                                   "CFRelease(usb1-if0 properties)\n"
                                   "IOObjectRelease(usb1-if0)\n"
                                   "usb1-hid0.close()\n"
                                   "usb1-hid0.Release()\n"
                                   "CFRelease(usb1-hid0 properties)\n"
                                   "IOObjectRelease(usb1-hid0)\n"
                                   "CFRelease(usb1-hid0.Elements[0])\n"
                                   // the reports, which hold the fields longest
                                   "CFRelease(usb1-hid0.InputReportElements[0])\n"
                                   "CFRelease(usb1-hid0.Elements[0].Elements[0])\n"
                                   "CFRelease(usb1-hid0.Elements[0].Elements[1])\n"
                                   "CFRelease(usb1-hid0.Elements[0].Elements[2])\n");
    EXPECT_THAT(platform.leaks(), testing::ElementsAre("usb1-hid0.Elements"));
}

TEST_F(QrxHIDDeviceImplTest, AnEmptyDeviceAnswersDefaults)
{
    const mis::swizzler<_QrxHIDDeviceImpl> device(new _QrxHIDDeviceImpl);
    EXPECT_EQ(device->getVendorID(), 0U);
    EXPECT_EQ(device->getVendorName(), "");
    EXPECT_EQ(device->getElementCount(), 0U);
    EXPECT_EQ(device->getInputReportSize(), 0U);
    EXPECT_FALSE(device->isHID());
    EXPECT_FALSE(device->getElementAtIndex(0));
    EXPECT_FALSE(device->_getInterface(0));
    device->open();
    device->close();
    device->setReport(1, 1, bytesOf({1}), 0);
    device->_findInterfaces();
    EXPECT_EQ(platform.log.text(), "");
}

TEST_F(QrxHIDDeviceImplTest, OnlyTheFirstUsbDeviceEntryIsTaken)
{
    const auto& entry = addDevice("usb1", {Sample::kPedal});
    const auto& second = addDevice("usb2", {Sample::kPedal}, 9, 9);
    const mis::swizzler<_QrxHIDDeviceImpl> device(new _QrxHIDDeviceImpl);
    device->_initWithEntry(0);
    device->_initWithEntry(this->entry("usb1-if0").handle);
    EXPECT_TRUE(*device == 0U);
    device->_initWithEntry(entry.handle);
    const std::size_t reports = device->getReportCount();
    device->_initWithEntry(second.handle);
    device->_initWithEntry(entry.handle);
    EXPECT_EQ(device->getVendorID(), 0x1234U);
    EXPECT_EQ(device->getReportCount(), reports);
    EXPECT_EQ(platform.registry.references(second), 0);
}

TEST_F(QrxHIDDeviceImplTest, APropertyOfAnotherTypeReadsAsItsDefault)
{
    auto& entry = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName,
                                        {{"idVendor", "1"},
                                         {"idProduct", true},
                                         {"bcdDevice", std::int64_t{0x1FFFFFFFF}},
                                         {"bDeviceClass", 3.7},
                                         {"bDeviceSubClass", 2},
                                         {"bDeviceProtocol", -1},
                                         {"USB Vendor Name", 5},
                                         {"USB Product Name", "Widget"}});
    const auto device = deviceOf(entry);
    EXPECT_EQ(device->getVendorID(), 0U);
    EXPECT_EQ(device->getProductID(), 0U);
    EXPECT_EQ(device->getReleaseNumber(), 0xFFFFFFFFU) << "the low 32 bits";
    EXPECT_EQ(device->getClass(), 3U);
    EXPECT_EQ(device->getSubclass(), 2U);
    EXPECT_EQ(device->getProtocol(), 0xFFFFFFFFU);
    EXPECT_EQ(device->getVendorName(), "");
    EXPECT_EQ(device->getProductName(), "Widget");
}

TEST_F(QrxHIDDeviceImplTest, PropertiesAreTheSnapshotOfTheBeginning)
{
    auto& entry = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName, {{"idVendor", 1}});
    const auto device = deviceOf(entry);
    entry.properties["idVendor"] = Value(2);
    EXPECT_EQ(device->getVendorID(), 1U);
}

TEST_F(QrxHIDDeviceImplTest, WithoutPropertiesEverythingReadsAsDefaultButTheInterfacesAreFound)
{
    const auto& entry = addDevice("usb1", {Sample::kPedal});
    platform.log.failCall("IORegistryEntryCreateCFProperties");
    const auto device = deviceOf(entry);
    EXPECT_EQ(device->getVendorID(), 0U);
    EXPECT_EQ(device->getProductName(), "");
    EXPECT_TRUE(device->isHID());
}

TEST_F(QrxHIDDeviceImplTest, ANameThatThePlatformHoldsIsTakenAsItIs)
{
    EXPECT_EQ(vendorNameOf("Acme \xC3\xA9"), "Acme \xC3\xA9");
    EXPECT_EQ(vendorNameOf(Text{std::string("Ac\0me", 5)}), "Ac") << "up to the terminating zero";
}

TEST_F(QrxHIDDeviceImplTest, ANameThatIsConvertedMustFitItsOwnLength)
{
    EXPECT_EQ(vendorNameOf(Text{"Acme", false}), "Acme");
    EXPECT_EQ(vendorNameOf(Text{"", false}), "");
    EXPECT_EQ(vendorNameOf(Text{"\xC3\xA9t\xC3\xA9", false}), "") << "3 units, 5 bytes";
    EXPECT_EQ(vendorNameOf(Text{"\xF0\x9F\x98\x80", false}), "") << "2 units, 4 bytes";
}

TEST_F(QrxHIDDeviceImplTest, ANameThatIsConvertedIsAtMostAMebiUnitLong)
{
    EXPECT_EQ(vendorNameOf(Text{std::string(0x100000, 'x'), false}).size(), 0x100000U);
    EXPECT_EQ(vendorNameOf(Text{std::string(0x100001, 'x'), false}), "");
    EXPECT_EQ(vendorNameOf(Text{std::string(0x100001, 'x'), true}).size(), 0x100001U) << "no conversion, no limit";
}

TEST_F(QrxHIDDeviceImplTest, InterfacesBelowOtherEntriesAreFoundDepthFirstButNothingBelowAnInterface)
{
    auto& device = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName);
    auto& driver = platform.registry.add(&device, "driver", "IOUSBCompositeDriver");
    auto& deep = platform.registry.add(&driver, "deep", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 4}});
    platform.registry.add(&deep, "below", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 5}});
    platform.registry.add(&device, "flat", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 1}});
    const auto object = deviceOf(device);
    EXPECT_TRUE(object->_getInterface(4));
    EXPECT_TRUE(object->_getInterface(1));
    EXPECT_FALSE(object->_getInterface(5));
    EXPECT_EQ(platform.log.linesWith({"IOObjectRetain"}), "IOObjectRetain(usb1)\n"
                                                          "IOObjectRetain(deep)\n"
                                                          "IOObjectRetain(flat)\n");
    EXPECT_FALSE(object->isHID());
    EXPECT_EQ(object->getElementCount(), 0U);
    EXPECT_EQ(object->getInputReportSize(), 0U);
}

TEST_F(QrxHIDDeviceImplTest, AnInterfaceIsListedOnceAndGetsTheDeviceAsParent)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    const auto interface = device->_getInterface(0);
    EXPECT_EQ(interface->_getParent().get(), device.get());
    device->_addInterface(interface);
    device->_addInterface({});
    const mis::swizzler<_QrxHIDInterfaceMac> same(new _QrxHIDInterfaceMac);
    same->_initWithEntry(entry("usb1-if0").handle);
    device->_addInterface(same);
    EXPECT_FALSE(same->_hasParent());
    EXPECT_EQ(device->getElementCount(), 1U);
}

TEST_F(QrxHIDDeviceImplTest, OfTwoInterfacesWithOneNumberTheFirstIsReached)
{
    auto& device = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName);
    for (const Sample sample : {Sample::kVendor, Sample::kPedal}) {
        const std::string name = sample == Sample::kVendor ? "first" : "second";
        auto& interface = platform.registry.add(&device, name, kIOUSBInterfaceClassName, {{"bInterfaceNumber", 3}});
        auto& hid = platform.registry.add(&interface, name + "-hid", "IOHIDDevice", world::driverProperties(sample));
        platform.registry.add(&hid, name + "-client", "IOHIDInterface");
    }
    const auto object = deviceOf(device);
    EXPECT_EQ(object->getInputReportSize(3), 64U);
    object->setReport(1, 2, bytesOf({2}), 3);
    ASSERT_EQ(platform.hid.sent.size(), 1U);
    EXPECT_EQ(platform.hid.sent[0].driver, "first-hid");
    EXPECT_EQ(object->getElementCount(), 2U);
}

TEST_F(QrxHIDDeviceImplTest, ANegativeNumberReachesNoInterface)
{
    auto& device = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName);
    auto& interface = platform.registry.add(&device, "if", kIOUSBInterfaceClassName, {{"bInterfaceNumber", -1}});
    platform.registry.add(&interface, "hid", "IOHIDDevice", world::driverProperties(Sample::kMouse));
    const auto object = deviceOf(device);
    EXPECT_EQ(object->getInputReportSize(-1), 0U);
    EXPECT_EQ(object->getPrimaryUsagePage(-1), 0U);
    EXPECT_FALSE(object->_getInterface(-1));
    object->setReport(1, 1, bytesOf({1}), -1);
    EXPECT_TRUE(platform.hid.sent.empty());
}

TEST_F(QrxHIDDeviceImplTest, ADeviceIsHidIfOneInterfaceIsAndEveryOneIsAsked)
{
    auto& device = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName);
    platform.registry.add(&device, "storage", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 0}});
    auto& interface = platform.registry.add(&device, "if", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 1}});
    auto& hid = platform.registry.add(&interface, "hid", "IOHIDDevice", world::driverProperties(Sample::kMouse));
    EXPECT_FALSE(deviceOf(device)->isHID()) << "a driver without a client has no elements";
    platform.registry.add(&hid, "client", "IOHIDInterface");
    EXPECT_TRUE(deviceOf(device)->isHID());
}

TEST_F(QrxHIDDeviceImplTest, TheLargestSizeIsComparedUnsigned)
{
    auto& device = platform.registry.add(nullptr, "usb1", kIOUSBDeviceClassName);
    for (const int size : {100, -1, 7}) {
        const std::string name = "if" + std::to_string(size);
        auto& interface = platform.registry.add(&device, name, kIOUSBInterfaceClassName);
        platform.registry.add(
            &interface, name + "-hid", "IOHIDDevice",
            {{"MaxInputReportSize", size}, {"MaxOutputReportSize", size}, {"MaxFeatureReportSize", size}});
    }
    const auto object = deviceOf(device);
    EXPECT_EQ(object->getInputReportSize(), 0xFFFFFFFFU);
    EXPECT_EQ(object->getOutputReportSize(), 0xFFFFFFFFU);
    EXPECT_EQ(object->getFeatureReportSize(), 0xFFFFFFFFU);
}

TEST_F(QrxHIDDeviceImplTest, DevicesAreEqualWhenTheirEntriesAre)
{
    const auto& entry = addDevice("usb1", {});
    const auto& otherEntry = addDevice("usb2", {});
    const auto device = deviceOf(entry);
    const auto same = deviceOf(entry);
    const auto other = deviceOf(otherEntry);
    const mis::swizzler<_QrxHIDDeviceImpl> empty(new _QrxHIDDeviceImpl);
    const mis::swizzler<_QrxHIDDeviceImpl> alsoEmpty(new _QrxHIDDeviceImpl);
    EXPECT_TRUE(*device == *same);
    EXPECT_FALSE(*device == *other);
    EXPECT_FALSE(*device == *empty);
    EXPECT_FALSE(*empty == *device);
    EXPECT_TRUE(*empty == *alsoEmpty);
    EXPECT_TRUE(*device == entry.handle);
    EXPECT_FALSE(*device == otherEntry.handle);
    EXPECT_FALSE(*device == 0U);
    EXPECT_TRUE(*empty == 0U);
    const QrxHIDDevice& plain = *device;
    EXPECT_TRUE(plain == static_cast<const QrxHIDDevice&>(*same));
    EXPECT_FALSE(plain == static_cast<const QrxHIDDevice&>(*other));
}

TEST_F(QrxHIDDeviceImplTest, AReportWithoutCapabilitiesIsNotMade)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    const std::size_t before = device->getReportCount();
    device->_addReport(0, 7, {});
    EXPECT_EQ(device->getReportCount(), before);
}

TEST_F(QrxHIDDeviceImplTest, AReportOfAMissingInterfaceHasNoProperties)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    std::vector<mis::swizzler<QrxHIDCapability>> capabilities = {device->getReportAtIndex(0)->getCapabilityAtIndex(0)};
    device->_addReport(8, 7, capabilities);
    const auto report = device->getReport(8, 7);
    ASSERT_TRUE(report);
    EXPECT_EQ(report->getReportSize(), 0U);
    EXPECT_EQ(report->getCapabilityCount(), 1U);
    EXPECT_EQ(report->_getParent().get(), device.get());
}

TEST_F(QrxHIDDeviceImplTest, ADeviceReportsItsNamesAndReportsWhenPrinted)
{
    auto& entry = addDevice("usb1", {Sample::kPedal});
    entry.properties.insert({"USB Product Name", "Widget"});
    std::ostringstream text;
    deviceOf(entry)->print(text, 0, 0);
    EXPECT_NE(text.str().find(" \"\" \"Widget\"\n"), std::string::npos) << text.str();
    EXPECT_NE(text.str().find("HIDReport.reportSize = 8 HIDReport.reportByteSize = 1 HIDReport.reportType = 1 "),
              std::string::npos)
        << text.str();
}

TEST_F(QrxHIDDeviceImplTest, TheDelegateGetsACopyBeforeTheReportIsSent)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    DeviceRecord record;
    RecordingDeviceDelegate delegate(record); // taken back at the end
    device->setDelegate(&delegate);
    record.onSetReport = [&] { EXPECT_TRUE(platform.hid.sent.empty()); };
    device->setReport(1, 4, bytesOf({1, 2}), 0);
    EXPECT_EQ(platform.hid.sent.size(), 1U);
    device->setDelegate(nullptr);
}

TEST_F(QrxHIDDeviceImplTest, ASentReportIsToldOfWithOneHandleMore)
{
    DeviceRecord record;
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    device->setDelegate(new RecordingDeviceDelegate(record));
    unsigned int count = 0;
    record.onSetReport = [&] { count = device->getReferenceCount(); };
    device->setReport(1, 4, bytesOf({1, 2}), 0);
    EXPECT_EQ(count, 1U) << "the delegate has given its own handle back";
}

TEST_F(QrxHIDDeviceImplTest, ADeviceThatEndsWithTheDelegatesHandleSendsNothing)
{
    DeviceRecord record;
    auto device = deviceOf(addDevice("usb1", {Sample::kPedal, Sample::kMouse}));
    device->setDelegate(new RecordingDeviceDelegate(record));
    record.onSetReport = [&] { device.release(); };
    QrxHIDDevice* raw = device.get();
    raw->setReport(1, 4, bytesOf({1, 2}), 1);
    EXPECT_THAT(record.lines, testing::ElementsAre("set 1 4 1: 01 02", "deleted"));
    EXPECT_TRUE(platform.hid.sent.empty());
}

TEST_F(QrxHIDDeviceImplTest, ADeviceOnAStackMayBeSetUpAndSend)
{
    const auto& entry = addDevice("usb1", {Sample::kPedal});
    DeviceRecord record;
    {
        _QrxHIDDeviceImpl device;
        device._initWithEntry(entry.handle);
        device.setDelegate(new RecordingDeviceDelegate(record));
        device.setReport(1, 4, bytesOf({1}), 0);
        device.open();
        device.close();
        EXPECT_EQ(device.getReferenceCount(), 0U);
    }
    EXPECT_THAT(record.lines, testing::ElementsAre("set 1 4 0: 01", "deleted"));
}

TEST_F(QrxHIDDeviceImplTest, EveryInterfaceIsOpenedAndClosedInOrder)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal, Sample::kMouse}));
    device->open();
    device->close();
    EXPECT_EQ(platform.log.linesWith({".open(", ".close("}), "usb1-hid0.open(0)\n"
                                                             "usb1-hid1.open(0)\n"
                                                             "usb1-hid0.close()\n"
                                                             "usb1-hid1.close()\n");
}

TEST_F(QrxHIDDeviceImplTest, WhatAnswersASentReportMayDropTheDevice)
{
    auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    platform.hid.onSend = [&](const fake::SentReport&) { device.release(); };
    _QrxHIDDeviceImpl* raw = device.get();
    raw->setReport(1, 4, bytesOf({1}), 0);
    EXPECT_FALSE(device);
}

TEST_F(QrxHIDDeviceImplTest, WhatAnswersASentReportMayThrow)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    platform.hid.onSend = [&](const fake::SentReport&) { throw std::runtime_error("no"); };
    EXPECT_THROW(device->setReport(1, 4, bytesOf({1}), 0), std::runtime_error);
    EXPECT_EQ(device->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceImplTest, AnExceptionAtTheCloseOfOneInterfaceLetsTheOthersCloseAndArrives)
{
    const auto device = deviceOf(addDevice("usb1", {Sample::kPedal, Sample::kMouse}));
    device->open();
    platform.log.clear();
    platform.hid.onClose = [&] {
        platform.hid.onClose = nullptr;
        throw std::runtime_error("no");
    };
    EXPECT_THROW(device->close(), std::runtime_error);
    EXPECT_EQ(platform.log.linesWith({".close("}), "usb1-hid0.close()\nusb1-hid1.close()\n");
    EXPECT_EQ(device->getReferenceCount(), 1U);
}
