#include "IOKitTest.h"

using MatchingTest = IOKitTest;

namespace {

std::string matching(CFMutableDictionaryRef dictionary)
{
    io_iterator_t iterator = IO_OBJECT_NULL;
    EXPECT_EQ(KERN_SUCCESS, IOServiceGetMatchingServices(kIOMasterPortDefault, dictionary, &iterator));
    const std::string names = drain(iterator);
    IOObjectRelease(iterator);
    return names;
}

CFMutableDictionaryRef with(CFMutableDictionaryRef dictionary, CFStringRef key, std::int32_t number)
{
    CFNumberRef value = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &number);
    CFDictionarySetValue(dictionary, key, value);
    CFRelease(value);
    return dictionary;
}

} // namespace

TEST_F(MatchingTest, NoMatchIsSuccessWithIteratorZero)
{
    io_iterator_t iterator = 77;
    EXPECT_EQ(KERN_SUCCESS,
              IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching("IOUSBDevice"), &iterator));
    EXPECT_EQ(IO_OBJECT_NULL, iterator);
}

TEST_F(MatchingTest, OneReferenceOfTheDictionaryIsConsumedOnFailureToo)
{
    CFMutableDictionaryRef dictionary = IOServiceMatching("IOUSBDevice");
    CFRetain(dictionary);
    CFRetain(dictionary);
    io_iterator_t iterator = IO_OBJECT_NULL;
    IOServiceGetMatchingServices(kIOMasterPortDefault, dictionary, &iterator);
    EXPECT_EQ(2, CFGetRetainCount(dictionary));
    EXPECT_EQ(kIOReturnBadArgument, IOServiceGetMatchingServices(kIOMasterPortDefault, dictionary, nullptr));
    EXPECT_EQ(1, CFGetRetainCount(dictionary));
    CFRelease(dictionary);
    iterator = 77;
    EXPECT_EQ(kIOReturnBadArgument, IOServiceGetMatchingServices(kIOMasterPortDefault, nullptr, &iterator));
    EXPECT_EQ(77u, iterator);
}

TEST_F(MatchingTest, AClassMatchesItsSubclasses)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    for (const auto& [name, count] :
         {std::pair{"IOUSBDevice", 1u}, std::pair{"IOUSBNub", 2u}, std::pair{"IOHIDDevice", 1u},
          std::pair{"IOService", 4u}, std::pair{"IOUSBRootHubDevice", 0u}, std::pair{"", 4u}}) {
        const auto services = servicesOf(name);
        EXPECT_EQ(count, services.size()) << name;
        for (const io_object_t service : services) {
            IOObjectRelease(service);
        }
    }
    mouse.unplug();
}

TEST_F(MatchingTest, EveryOtherKeyMustBeAnEqualProperty)
{
    fake::Device mouse = fake::makeMouse();
    fake::Device keyboard = fake::makeKeyboard();
    mouse.plug();
    keyboard.plug();
    EXPECT_EQ("04d9:1503", matching(with(IOServiceMatching("IOUSBDevice"), CFSTR("idVendor"), 0x04d9)));
    EXPECT_EQ("", matching(with(IOServiceMatching("IOUSBDevice"), CFSTR("idVendor"), 1)));
    EXPECT_EQ("", matching(with(IOServiceMatching("IOUSBDevice"), CFSTR("IOPathMatch"), 0x04d9)))
        << "a key that no entry has must not match";
    mouse.unplug();
    keyboard.unplug();
}

TEST_F(MatchingTest, AClassThatIsNoTextMatchesNothing)
{
    fake::Device mouse = fake::makeMouse();
    mouse.plug();
    CFMutableDictionaryRef dictionary = CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks);
    EXPECT_EQ("", matching(with(dictionary, CFSTR("IOProviderClass"), 3)));
    mouse.unplug();
}

TEST_F(MatchingTest, EnumerationAsksTheProvidersFirst)
{
    fake::Device mouse = fake::makeMouse();
    fake::provider().queue([&] { mouse.plug(); });
    EXPECT_EQ("046d:c077", matching(IOServiceMatching("IOUSBDevice")));
    EXPECT_EQ("refresh\n", fake::callLog().take());
    fake::provider().queue([&] { mouse.unplug(); });
    EXPECT_EQ("", matching(IOServiceMatching("IOUSBDevice")));
}

TEST_F(MatchingTest, DisabledProvidersAreLeftOutAndTheirDevicesStay)
{
    fake::Device mouse = fake::makeMouse();
    fake::Device keyboard = fake::makeKeyboard();
    mouse.plug();
    qrx::platform::setProvidersEnabled(false);
    fake::provider().queue([&] { keyboard.plug(); });
    EXPECT_EQ("046d:c077", matching(IOServiceMatching("IOUSBDevice")));
    EXPECT_EQ("", fake::callLog().take());
    qrx::platform::setProvidersEnabled(true);
    EXPECT_EQ("046d:c077 04d9:1503", matching(IOServiceMatching("IOUSBDevice")));
    mouse.unplug();
    keyboard.unplug();
}
