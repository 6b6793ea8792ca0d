#include "IOKitTest.h"

#include "CoreFoundation/LiveObjects.h"
#include "IOKit/registry/Registry.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <map>

namespace {

std::size_t openDescriptors()
{
    const std::filesystem::directory_iterator list("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(list), end(list)));
}

std::string textOfString(CFTypeRef string)
{
    char buffer[256] = "";
    CFStringGetCString(static_cast<CFStringRef>(string), buffer, sizeof buffer, kCFStringEncodingUTF8);
    return buffer;
}

std::string printDictionary(CFDictionaryRef dictionary)
{
    const auto count = static_cast<std::size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    std::map<std::string, std::string> sorted;
    for (std::size_t index = 0; index < count; ++index) {
        sorted[textOfString(keys[index])] = print(values[index]);
    }
    std::string text;
    for (const auto& [key, value] : sorted) {
        text += (text.empty() ? "" : " ") + key + "=" + value;
    }
    return "{" + text + "}";
}

std::string printArray(CFArrayRef array)
{
    std::string text;
    for (CFIndex index = 0; index < CFArrayGetCount(array); ++index) {
        text += (text.empty() ? "" : " ") + print(CFArrayGetValueAtIndex(array, index));
    }
    return "[" + text + "]";
}

} // namespace

void runDue()
{
    constexpr int kMostPasses = 10000;
    int passes = 0;
    while (CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true) == kCFRunLoopRunHandledSource) {
        ASSERT_LT(++passes, kMostPasses) << "the run loop spins";
    }
}

bool runUntil(const std::function<bool()>& condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0.02, true);
    }
    return true;
}

std::vector<io_object_t> servicesOf(const char* className)
{
    io_iterator_t iterator = IO_OBJECT_NULL;
    EXPECT_EQ(KERN_SUCCESS,
              IOServiceGetMatchingServices(kIOMasterPortDefault, IOServiceMatching(className), &iterator));
    std::vector<io_object_t> services;
    while (const io_object_t service = IOIteratorNext(iterator)) {
        services.push_back(service);
    }
    IOObjectRelease(iterator);
    return services;
}

std::vector<io_object_t> childrenOf(io_object_t entry)
{
    io_iterator_t iterator = IO_OBJECT_NULL;
    EXPECT_EQ(KERN_SUCCESS, IORegistryEntryGetChildIterator(entry, kIOServicePlane, &iterator));
    std::vector<io_object_t> children;
    while (const io_object_t child = IOIteratorNext(iterator)) {
        children.push_back(child);
    }
    IOObjectRelease(iterator);
    return children;
}

std::int64_t numberOf(io_object_t entry, const char* key)
{
    CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
    CFTypeRef value = IORegistryEntryCreateCFProperty(entry, name, kCFAllocatorDefault, 0);
    CFRelease(name);
    std::int64_t number = -1;
    if (value != nullptr) {
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberSInt64Type, &number);
        CFRelease(value);
    }
    return number;
}

std::string textOf(io_object_t entry, const char* key)
{
    CFStringRef name = CFStringCreateWithCString(kCFAllocatorDefault, key, kCFStringEncodingUTF8);
    CFTypeRef value = IORegistryEntryCreateCFProperty(entry, name, kCFAllocatorDefault, 0);
    CFRelease(name);
    if (value == nullptr) {
        return "-";
    }
    const std::string text = textOfString(value);
    CFRelease(value);
    return text;
}

std::string nameOf(io_object_t device)
{
    char text[16];
    std::snprintf(text, sizeof text, "%04x:%04x", static_cast<unsigned>(numberOf(device, "idVendor")),
                  static_cast<unsigned>(numberOf(device, "idProduct")));
    return text;
}

std::string drain(io_iterator_t iterator)
{
    std::string names;
    while (const io_object_t device = IOIteratorNext(iterator)) {
        names += (names.empty() ? "" : " ") + nameOf(device);
        IOObjectRelease(device);
    }
    return names;
}

std::string print(CFTypeRef object)
{
    const CFTypeID type = CFGetTypeID(object);
    if (type == CFDictionaryGetTypeID()) {
        return printDictionary(static_cast<CFDictionaryRef>(object));
    }
    if (type == CFArrayGetTypeID()) {
        return printArray(static_cast<CFArrayRef>(object));
    }
    if (type == CFBooleanGetTypeID()) {
        return CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "true" : "false";
    }
    if (type == CFNumberGetTypeID()) {
        std::int64_t number = 0;
        CFNumberGetValue(static_cast<CFNumberRef>(object), kCFNumberSInt64Type, &number);
        return std::to_string(number);
    }
    if (type == CFDataGetTypeID()) {
        return "<" + std::to_string(CFDataGetLength(static_cast<CFDataRef>(object))) + " bytes>";
    }
    return "'" + textOfString(object) + "'";
}

void IOKitTest::SetUp()
{
    // Once, so that what is made at the first use is not taken for a leak.
    for (const io_object_t service : servicesOf("IOService")) {
        IOObjectRelease(service);
    }
    CFRunLoopRunInMode(kCFRunLoopDefaultMode, 0, true);
    _handles = qrx::iokit::Registry::instance().heldHandles();
    _objects = qrx::cf::liveObjects();
    _descriptors = openDescriptors();
    fake::callLog().take();
}

void IOKitTest::TearDown()
{
    for (const io_object_t object : _held) {
        IOObjectRelease(object);
    }
    EXPECT_EQ(_handles, qrx::iokit::Registry::instance().heldHandles()) << "registry handles leaked";
    EXPECT_EQ(_objects, qrx::cf::liveObjects()) << "property objects leaked";
    EXPECT_EQ(_descriptors, openDescriptors()) << "file descriptors leaked";
    EXPECT_EQ(0, fake::openChannels()) << "channels leaked";
    EXPECT_FALSE(fake::provider().isWatching()) << "nobody observes, yet the provider watches";
}

io_object_t IOKitTest::driver()
{
    const auto drivers = servicesOf("IOHIDDevice");
    EXPECT_EQ(1u, drivers.size());
    for (const io_object_t one : drivers) {
        releaseLater(one);
    }
    return drivers.empty() ? IO_OBJECT_NULL : drivers.front();
}

IOHIDDeviceInterface122** IOKitTest::openable(io_object_t driver)
{
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = -1;
    EXPECT_EQ(KERN_SUCCESS, IOCreatePlugInInterfaceForService(driver, kIOHIDDeviceUserClientTypeID,
                                                              kIOCFPlugInInterfaceID, &plugIn, &score));
    void* device = nullptr;
    EXPECT_EQ(S_OK, (*plugIn)->QueryInterface(plugIn, CFUUIDGetUUIDBytes(kIOHIDDeviceInterfaceID), &device));
    EXPECT_EQ(kIOReturnNotOpen, IODestroyPlugInInterface(plugIn));
    return static_cast<IOHIDDeviceInterface122**>(device);
}
