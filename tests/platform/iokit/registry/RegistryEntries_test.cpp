#include "IOKitTest.h"

#include <malloc.h>

using RegistryEntries = IOKitTest;

namespace {

std::string classOf(io_object_t entry)
{
    for (const char* name : {"IOUSBDevice", "IOUSBInterface", "IOUSBHIDDriver", "IOHIDInterface"}) {
        if (IOObjectConformsTo(entry, name)) {
            return name;
        }
    }
    return "?";
}

/// The entries below one, as "class(children)".
std::string shapeOf(io_object_t entry)
{
    std::string below;
    for (const io_object_t child : childrenOf(entry)) {
        below += (below.empty() ? "" : " ") + shapeOf(child);
        IOObjectRelease(child);
    }
    return classOf(entry) + (below.empty() ? "" : "(" + below + ")");
}

io_object_t onlyOf(const char* className)
{
    const auto services = servicesOf(className);
    EXPECT_EQ(1u, services.size());
    return services.empty() ? IO_OBJECT_NULL : services.front();
}

std::string propertiesOf(io_object_t entry)
{
    CFMutableDictionaryRef properties = nullptr;
    EXPECT_EQ(KERN_SUCCESS, IORegistryEntryCreateCFProperties(entry, &properties, kCFAllocatorDefault, 0));
    const std::string text = print(properties);
    CFRelease(properties);
    return text;
}

std::string propertyOf(io_object_t entry, CFStringRef key)
{
    CFTypeRef value = IORegistryEntryCreateCFProperty(entry, key, kCFAllocatorDefault, 0);
    if (value == nullptr) {
        return "none";
    }
    const std::string text = print(value);
    CFRelease(value);
    return text;
}

} // namespace

TEST_F(RegistryEntries, ADeviceHasItsInterfacesAndEachHidInterfaceADriverWithOneClient)
{
    fake::Device device = fake::makeDevice(1, 2);
    device.addHid(fake::mouseDescriptor()).addPlain().addHid(fake::mouseDescriptor());
    device.plug();
    const io_object_t entry = onlyOf("IOUSBDevice");
    EXPECT_EQ("IOUSBDevice(IOUSBInterface(IOUSBHIDDriver(IOHIDInterface)) IOUSBInterface "
              "IOUSBInterface(IOUSBHIDDriver(IOHIDInterface)))",
              shapeOf(entry));
    IOObjectRelease(entry);
    device.unplug();
}

TEST_F(RegistryEntries, AnEntryConformsToItsClassAndEveryClassAboveIt)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const std::pair<const char*, std::vector<const char*>> classes[] = {
        {"IOUSBDevice", {"IOUSBDevice", "IOUSBNub", "IOService", "IORegistryEntry"}},
        {"IOUSBInterface", {"IOUSBInterface", "IOUSBNub", "IOService", "IORegistryEntry"}},
        {"IOUSBHIDDriver", {"IOUSBHIDDriver", "IOHIDDevice", "IOService", "IORegistryEntry"}},
        {"IOHIDInterface", {"IOHIDInterface", "IOService", "IORegistryEntry"}},
    };
    for (const auto& [name, above] : classes) {
        const io_object_t entry = onlyOf(name);
        for (const char* one : above) {
            EXPECT_TRUE(IOObjectConformsTo(entry, one)) << name << " is no " << one;
        }
        EXPECT_FALSE(IOObjectConformsTo(entry, "IOUSBRootHubDevice"));
        EXPECT_FALSE(IOObjectConformsTo(entry, "")) << name;
        IOObjectRelease(entry);
    }
    mouse.unplug();
}

TEST_F(RegistryEntries, ADeviceEntryShowsTheDeviceDescriptorAndThePlace)
{
    fake::Device mouse = fake::makeMouse();
    mouse.facts.locationID = 0xFA120000;
    mouse.facts.serialNumber = "";
    mouse.plug();
    const io_object_t entry = onlyOf("IOUSBDevice");
    EXPECT_NE(-1, numberOf(entry, "sessionID"));
    CFMutableDictionaryRef properties = nullptr;
    IORegistryEntryCreateCFProperties(entry, &properties, kCFAllocatorDefault, 0);
    CFDictionaryRemoveValue(properties, CFSTR("sessionID")); // a time
    EXPECT_EQ("{Device Speed=1 PortNum=2 USB Address=5 USB Product Name='Mouse' USB Serial Number='' "
              "USB Vendor Name='Maker' bDeviceClass=0 bDeviceProtocol=0 bDeviceSubClass=0 bMaxPacketSize0=8 "
              "bNumConfigurations=1 bcdDevice=272 idProduct=49271 idVendor=1133 locationID=-99483648}",
              print(properties));
    CFRelease(properties);
    IOObjectRelease(entry);
    mouse.unplug();
}

TEST_F(RegistryEntries, AnInterfaceEntryShowsItsDescriptorAndTheDevicesIdentity)
{
    fake::Device mouse = fake::makeMouse();
    mouse.facts.interfaces[0].interfaceSubclass = 1;
    mouse.facts.interfaces[0].interfaceProtocol = 2;
    mouse.facts.interfaces[0].name = "Pointer";
    mouse.plug();
    const io_object_t entry = onlyOf("IOUSBInterface");
    EXPECT_EQ("{USB Interface Name='Pointer' bAlternateSetting=0 bConfigurationValue=1 bInterfaceClass=3 "
              "bInterfaceNumber=0 bInterfaceProtocol=2 bInterfaceSubClass=1 bNumEndpoints=1 bcdDevice=272 "
              "idProduct=49271 idVendor=1133 locationID=18874368}",
              propertiesOf(entry));
    IOObjectRelease(entry);
    mouse.unplug();
}

TEST_F(RegistryEntries, ADriverEntryShowsIdentitySizesAndUsages)
{
    fake::Device mouse = fake::makeMouse();
    mouse.facts.serialNumber = "7";
    mouse.facts.interfaces[0].countryCode = 33;
    mouse.facts.interfaces[0].interfaceProtocol = 2;
    mouse.plug();
    const io_object_t entry = driver();
    CFMutableDictionaryRef properties = nullptr;
    IORegistryEntryCreateCFProperties(entry, &properties, kCFAllocatorDefault, 0);
    CFDictionaryRemoveValue(properties, CFSTR("Elements"));
    EXPECT_EQ("{BootProtocol=2 CountryCode=33 DeviceUsagePairs=[{DeviceUsage=2 DeviceUsagePage=1} {DeviceUsage=1 "
              "DeviceUsagePage=1}] IOClass='IOUSBHIDDriver' IOProviderClass='IOUSBInterface' "
              "InputReportElements=[{ElementCookie=9 ReportCount=1 ReportID=0 ReportSize=32 Size=32 Type=1 Usage=0 "
              "UsagePage=0}] LocationID=18874368 Manufacturer='Maker' MaxFeatureReportSize=0 MaxInputReportSize=4 "
              "MaxOutputReportSize=0 PrimaryUsage=2 PrimaryUsagePage=1 Product='Mouse' ProductID=49271 "
              "ReportDescriptor=<52 bytes> ReportInterval=8000 SerialNumber='7' Transport='USB' VendorID=1133 "
              "VersionNumber=272}",
              print(properties));
    CFRelease(properties);
    mouse.unplug();
}

TEST_F(RegistryEntries, ElementsAreNestedWithTheKeysOfTheirKind)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const std::string text = propertyOf(driver(), CFSTR("Elements"));
    EXPECT_EQ(0u, text.find("[{CollectionType=1 ElementCookie=1 Elements=[{CollectionType=0 ElementCookie=2 Elements=["
                            "{ElementCookie=3 Flags=2 HasNullState=false HasPreferredState=true IsArray=false "
                            "IsNonLinear=false IsRelative=false IsWrapping=false Max=1 Min=0 "
                            "ReportCount=1 ReportID=0 ReportSize=1 ScaledMax=1 ScaledMin=0 Size=1 Type=2 Unit=0 "
                            "UnitExponent=0 Usage=1 UsagePage=9} "))
        << text;
    EXPECT_NE(std::string::npos,
              text.find("{ElementCookie=8 Flags=6 HasNullState=false HasPreferredState=true IsArray=false "
                        "IsNonLinear=false IsRelative=true IsWrapping=false Max=127 Min=-127 "
                        "ReportCount=1 ReportID=0 ReportSize=8 ScaledMax=127 ScaledMin=-127 Size=8 Type=1 Unit=0 "
                        "UnitExponent=0 Usage=56 UsagePage=1}]"))
        << text;
    mouse.unplug();
}

TEST_F(RegistryEntries, ArrayElementsAreTheHeadTheSlotsAndTheSelectors)
{
    fake::Device keyboard = fake::makeKeyboard();
    keyboard.plug();
    const std::string text = propertyOf(driver(), CFSTR("Elements"));
    EXPECT_NE(std::string::npos,
              text.find("{ElementCookie=10 Flags=0 HasNullState=false HasPreferredState=true IsArray=true "
                        "IsNonLinear=false IsRelative=false IsWrapping=false Max=101 Min=0 "
                        "ReportCount=6 ReportID=0 ReportSize=8 ScaledMax=101 ScaledMin=0 Size=48 Type=2 Unit=0 "
                        "UnitExponent=0 Usage=-1 UsagePage=7} {DuplicateIndex=0 ElementCookie=11 "))
        << text;
    keyboard.unplug();
}

TEST_F(RegistryEntries, NumberedReportsCountTheirNumber)
{
    fake::Device vendor = fake::makeVendorDevice();
    vendor.plug();
    const io_object_t entry = driver();
    EXPECT_EQ(64, numberOf(entry, "MaxInputReportSize"));
    EXPECT_EQ(8, numberOf(entry, "MaxOutputReportSize"));
    EXPECT_EQ(4, numberOf(entry, "MaxFeatureReportSize"));
    EXPECT_EQ("[{ElementCookie=78 ReportCount=1 ReportID=1 ReportSize=512 Size=512 Type=1 Usage=0 UsagePage=0} "
              "{ElementCookie=79 ReportCount=1 ReportID=2 ReportSize=8 Size=8 Type=1 Usage=0 UsagePage=0} "
              "{ElementCookie=80 ReportCount=1 ReportID=3 ReportSize=8 Size=8 Type=1 Usage=0 UsagePage=0}]",
              propertyOf(entry, CFSTR("InputReportElements")));
    EXPECT_EQ("none", propertyOf(entry, CFSTR("ReportSize"))) << "there is no size at the top";
    vendor.unplug();
}

TEST_F(RegistryEntries, TextThatIsNotUtf8IsReadAsMacRoman)
{
    fake::Device mouse = fake::makeMouse();
    mouse.facts.productName = "Gr\xc3\xbc\xc3\x9f";
    mouse.facts.vendorName = "Caf\x8e";
    mouse.facts.serialNumber = std::string("12\0"
                                           "34",
                                           5);
    mouse.plug();
    const io_object_t entry = onlyOf("IOUSBDevice");
    EXPECT_EQ("Gr\xc3\xbc\xc3\x9f", textOf(entry, "USB Product Name"));
    EXPECT_EQ("Caf\xc3\xa9", textOf(entry, "USB Vendor Name"));
    EXPECT_EQ("12", textOf(entry, "USB Serial Number")) << "a text ends at its first zero";
    IOObjectRelease(entry);
    mouse.unplug();
}

TEST_F(RegistryEntries, AMissingTextIsAMissingKey)
{
    fake::Device device = fake::makeDevice(1, 2);
    device.facts.productName = "";
    device.plug();
    const io_object_t entry = onlyOf("IOUSBDevice");
    EXPECT_EQ("none", propertyOf(entry, CFSTR("USB Vendor Name")));
    EXPECT_EQ("none", propertyOf(entry, CFSTR("USB Product Name"))) << "an empty product name is none";
    IOObjectRelease(entry);
    device.unplug();
}

TEST_F(RegistryEntries, WhatOneCallerPutsIntoItsPropertiesNoOtherCallerSees)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const io_object_t entry = onlyOf("IOUSBDevice");
    CFMutableDictionaryRef first = nullptr;
    CFMutableDictionaryRef second = nullptr;
    IORegistryEntryCreateCFProperties(entry, &first, kCFAllocatorDefault, 0);
    CFDictionarySetValue(first, CFSTR("idVendor"), CFSTR("mine"));
    CFDictionaryRemoveValue(first, CFSTR("idProduct"));
    IORegistryEntryCreateCFProperties(entry, &second, kCFAllocatorDefault, 0);
    EXPECT_FALSE(CFDictionaryContainsKey(first, CFSTR("idProduct")));
    EXPECT_TRUE(CFDictionaryContainsKey(second, CFSTR("idProduct")));
    EXPECT_EQ("046d:c077", nameOf(entry));
    CFRelease(first);
    CFRelease(second);
    IOObjectRelease(entry);
    mouse.unplug();
}

TEST_F(RegistryEntries, AnotherPlaneHasNoIterator)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const io_object_t entry = onlyOf("IOUSBDevice");
    io_iterator_t iterator = 77;
    EXPECT_EQ(KERN_SUCCESS, IORegistryEntryGetChildIterator(entry, "IODeviceTree", &iterator));
    EXPECT_EQ(IO_OBJECT_NULL, iterator);
    iterator = 77;
    EXPECT_EQ(kIOReturnBadArgument, IORegistryEntryGetChildIterator(0x7ffffff0, kIOServicePlane, &iterator));
    EXPECT_EQ(77u, iterator);
    const auto leaf = onlyOf("IOHIDInterface");
    EXPECT_EQ(KERN_SUCCESS, IORegistryEntryGetChildIterator(leaf, kIOServicePlane, &iterator));
    EXPECT_NE(IO_OBJECT_NULL, iterator) << "a leaf has an empty iterator";
    EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(iterator));
    IOObjectRelease(iterator);
    IOObjectRelease(leaf);
    IOObjectRelease(entry);
    mouse.unplug();
}

TEST_F(RegistryEntries, TheReportDescriptorIsReadAtTheFirstLookBelowTheInterfaceAndItsFaultsAreToldOnce)
{
    fake::Device broken = fake::makeDevice(0x1234, 0x5678);
    fake::Bytes descriptor = fake::mouseDescriptor();
    descriptor.pop_back(); // an open collection
    broken.addHid(descriptor);
    testing::internal::CaptureStderr();
    broken.plug();
    const io_object_t entry = onlyOf("IOUSBDevice");
    const auto interfaces = childrenOf(entry);
    numberOf(interfaces[0], "bInterfaceNumber");
    EXPECT_EQ("", testing::internal::GetCapturedStderr()) << "nobody has looked below yet";
    testing::internal::CaptureStderr();
    const auto drivers = childrenOf(interfaces[0]);
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(1u, drivers.size()) << "what was understood before the fault is there";
    EXPECT_EQ(0u, told.find("QrxHIDManager: device 1234:5678 at 1-2, interface 0: report descriptor, byte 51, "))
        << told;
    testing::internal::CaptureStderr();
    for (const io_object_t again : childrenOf(interfaces[0])) {
        IOObjectRelease(again);
    }
    EXPECT_EQ("", testing::internal::GetCapturedStderr()) << "told once";
    IOObjectRelease(drivers[0]);
    IOObjectRelease(interfaces[0]);
    IOObjectRelease(entry);
    broken.unplug();
}

TEST_F(RegistryEntries, AMouseStaysWellBelow24KiB)
{
    const auto lookedAt = [this](fake::Device& device) {
        device.plug();
        EXPECT_NE("none", propertyOf(driver(), CFSTR("Elements")));
    };
    // Keys and shapes are made once for all devices, so another device comes and goes first.
    {
        fake::Device keyboard = fake::makeKeyboard();
        lookedAt(keyboard);
        keyboard.unplug();
    }
    const auto before = ::mallinfo2().uordblks;
    fake::Device mouse = fake::makeMouse();
    lookedAt(mouse);
    const auto used = ::mallinfo2().uordblks - before;
    mouse.unplug();
    if (used == 0) {
        GTEST_SKIP() << "this allocator (a sanitizer's) does not tell what is in use";
    }
    EXPECT_LT(used, 12u * 1024);
}
