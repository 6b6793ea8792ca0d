#include "IOKitTest.h"

#include "Provider/Provider.h"

#include <IOKit/IOReturn.h>

using qrx::platform::Status;

using RegistryHandles = IOKitTest;

TEST_F(RegistryHandles, TheSameEntryHasTheSameHandleWhileItIsHeld)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const auto first = servicesOf("IOUSBDevice");
    const auto second = servicesOf("IOUSBDevice");
    ASSERT_EQ(1u, first.size());
    EXPECT_EQ(first, second);
    EXPECT_TRUE(IOObjectIsEqualTo(first[0], second[0]));
    EXPECT_EQ(KERN_SUCCESS, IOObjectRetain(first[0]));
    EXPECT_EQ(KERN_SUCCESS, IOObjectRelease(first[0]));
    IOObjectRelease(first[0]);
    EXPECT_EQ(0x046d, numberOf(second[0], "idVendor"));
    IOObjectRelease(second[0]);
    mouse.unplug();
}

TEST_F(RegistryHandles, AnUnknownHandleIsAnInvalidName)
{
    EXPECT_EQ(KERN_INVALID_NAME, IOObjectRetain(0x7fffffff));
    EXPECT_EQ(KERN_INVALID_NAME, IOObjectRelease(0x7fffffff));
    EXPECT_FALSE(IOObjectConformsTo(0x7fffffff, "IOService"));
    EXPECT_FALSE(IOIteratorIsValid(0x7fffffff));
    EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(0x7fffffff));
}

TEST_F(RegistryHandles, HandleZeroIsAcceptedEverywhere)
{
    EXPECT_EQ(KERN_SUCCESS, IOObjectRetain(0));
    EXPECT_EQ(KERN_SUCCESS, IOObjectRelease(0));
    EXPECT_EQ(IO_OBJECT_NULL, IOIteratorNext(0));
    EXPECT_FALSE(IOObjectConformsTo(0, "IOService"));
    IOIteratorReset(0);
    EXPECT_EQ(nullptr, IORegistryEntryCreateCFProperty(0, CFSTR("idVendor"), kCFAllocatorDefault, 0));
    CFMutableDictionaryRef untouched = nullptr;
    EXPECT_EQ(kIOReturnBadArgument, IORegistryEntryCreateCFProperties(0, &untouched, kCFAllocatorDefault, 0));
    EXPECT_EQ(nullptr, untouched);
}

TEST_F(RegistryHandles, ADroppedHandleIsUnknownAndItsNumberIsNotUsedAgainSoon)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const auto dropped = servicesOf("IOUSBDevice");
    IOObjectRelease(dropped[0]);
    EXPECT_EQ(KERN_INVALID_NAME, IOObjectRelease(dropped[0]));
    const auto fresh = servicesOf("IOUSBDevice");
    EXPECT_NE(dropped[0], fresh[0]);
    IOObjectRelease(fresh[0]);
    mouse.unplug();
}

TEST_F(RegistryHandles, AnEndedEntryKeepsItsClassAndPropertiesUntilTheLastReference)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const auto held = servicesOf("IOUSBDevice");
    mouse.unplug();
    EXPECT_TRUE(servicesOf("IOUSBDevice").empty());
    EXPECT_TRUE(IOObjectConformsTo(held[0], "IOUSBDevice"));
    EXPECT_EQ("046d:c077", nameOf(held[0]));
    EXPECT_EQ("Mouse", textOf(held[0], "USB Product Name"));
    EXPECT_TRUE(childrenOf(held[0]).empty()) << "the children of an ended device are detached";
    EXPECT_EQ(KERN_SUCCESS, IOObjectRelease(held[0]));
    EXPECT_EQ(KERN_INVALID_NAME, IOObjectRelease(held[0]));
}

TEST_F(RegistryHandles, ADeviceThatReturnsIsAnotherEntry)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    const auto before = servicesOf("IOUSBDevice");
    mouse.unplug();
    mouse = fake::makeMouse();
    mouse.plug();
    const auto after = servicesOf("IOUSBDevice");
    EXPECT_FALSE(IOObjectIsEqualTo(before[0], after[0]));
    IOObjectRelease(before[0]);
    IOObjectRelease(after[0]);
    mouse.unplug();
}

TEST_F(RegistryHandles, TheMasterPortGivesOneReferenceACall)
{
    EXPECT_EQ(kIOReturnBadArgument, IOMasterPort(MACH_PORT_NULL, nullptr));
    mach_port_t first = 0;
    mach_port_t second = 0;
    EXPECT_EQ(KERN_SUCCESS, IOMasterPort(bootstrap_port, &first));
    EXPECT_EQ(KERN_SUCCESS, IOMasterPort(bootstrap_port, &second));
    EXPECT_NE(MACH_PORT_NULL, first);
    EXPECT_EQ(first, second);
    EXPECT_EQ(KERN_SUCCESS, IOObjectRelease(first));
    EXPECT_EQ(KERN_SUCCESS, IOObjectRelease(second));
    EXPECT_EQ(KERN_INVALID_NAME, IOObjectRelease(second));
}

TEST_F(RegistryHandles, AnIteratorRunsOverItsOwnListAndCanBeReset)
{
    fake::Device mouse = fake::makeMouse();
    fake::Device keyboard = fake::makeKeyboard();
    mouse.plug();
    keyboard.plug();
    io_iterator_t iterator = IO_OBJECT_NULL;
    IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching("IOUSBDevice"), &iterator);
    EXPECT_TRUE(IOIteratorIsValid(iterator));
    EXPECT_EQ("046d:c077 04d9:1503", drain(iterator)) << "what arrived first comes first";
    EXPECT_EQ("", drain(iterator));
    IOIteratorReset(iterator);
    mouse.unplug();
    EXPECT_EQ("04d9:1503", drain(iterator)) << "an entry that has ended meanwhile is passed over";
    IOObjectRelease(iterator);
    keyboard.unplug();
}

TEST_F(RegistryHandles, EveryOutcomeOfTheContractIsThePlatformsResult)
{
    const std::pair<Status, IOReturn> pairs[] = {
        {Status::success, kIOReturnSuccess},           {Status::error, kIOReturnError},
        {Status::noMemory, kIOReturnNoMemory},         {Status::noResources, kIOReturnNoResources},
        {Status::noDevice, kIOReturnNoDevice},         {Status::notPrivileged, kIOReturnNotPrivileged},
        {Status::badArgument, kIOReturnBadArgument},   {Status::unsupported, kIOReturnUnsupported},
        {Status::ioError, kIOReturnIOError},           {Status::notOpen, kIOReturnNotOpen},
        {Status::timeout, kIOReturnTimeout},           {Status::notAttached, kIOReturnNotAttached},
        {Status::notPermitted, kIOReturnNotPermitted}, {Status::pipeStalled, static_cast<IOReturn>(0xe000404f)},
    };
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    IOHIDDeviceInterface122** device = openable(driver());
    for (const auto& [status, result] : pairs) {
        EXPECT_EQ(result, static_cast<IOReturn>(status));
        mouse.wires[0]->openResult = status;
        EXPECT_EQ(result, (*device)->open(device, 0));
        (*device)->close(device);
    }
    (*device)->Release(device);
    mouse.unplug();
}
