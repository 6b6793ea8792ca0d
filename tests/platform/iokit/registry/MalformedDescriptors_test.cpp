#include "Reader.h"

#include <algorithm>
#include <random>
#include <string>

namespace {

class MalformedDescriptors : public IOKitTest {
protected:
    /// Plugs a device with the descriptor, looks at everything and reads it if it can be read. True if it has a driver.
    static bool survives(const fake::Bytes& descriptor)
    {
        fake::Device device = fake::makeDevice(1, 2);
        device.addHid(descriptor);
        device.plug();
        const auto drivers = servicesOf("IOHIDDevice");
        for (const io_object_t driver : drivers) {
            CFMutableDictionaryRef properties = nullptr;
            EXPECT_EQ(KERN_SUCCESS, IORegistryEntryCreateCFProperties(driver, &properties, kCFAllocatorDefault, 0));
            EXPECT_FALSE(print(properties).empty());
            readAll(device, driver, properties);
            CFRelease(properties);
            IOObjectRelease(driver);
        }
        device.unplug();
        return !drivers.empty();
    }

    static void readAll(fake::Device& device, io_object_t driver, CFDictionaryRef properties)
    {
        InterruptReader interrupts(driver);
        std::vector<IOHIDElementCookie> cookies;
        addCookies(CFDictionaryGetValue(properties, CFSTR("Elements")), cookies);
        addCookies(CFDictionaryGetValue(properties, CFSTR("InputReportElements")), cookies);
        QueueReader queue(driver, cookies);
        for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{3}, std::size_t{64}}) {
            device.wires[0]->send(fake::Bytes(size, 0x5A));
        }
        runDue();
        EXPECT_EQ(4, interrupts.reports);
    }

    static void addCookies(CFTypeRef elements, std::vector<IOHIDElementCookie>& cookies)
    {
        const auto* array = static_cast<CFArrayRef>(elements);
        for (CFIndex index = 0; index < CFArrayGetCount(array); ++index) {
            const auto* element = static_cast<CFDictionaryRef>(CFArrayGetValueAtIndex(array, index));
            if (!CFDictionaryContainsKey(element, CFSTR("CollectionType"))) {
                std::int32_t cookie = 0;
                CFNumberGetValue(static_cast<CFNumberRef>(CFDictionaryGetValue(element, CFSTR("ElementCookie"))),
                                 kCFNumberSInt32Type, &cookie);
                cookies.push_back(static_cast<IOHIDElementCookie>(cookie));
            } else if (const void* below = CFDictionaryGetValue(element, CFSTR("Elements"))) {
                addCookies(below, cookies);
            }
        }
    }
};

} // namespace

TEST_F(MalformedDescriptors, WithoutAnyFieldThereIsNoDriver)
{
    testing::internal::CaptureStderr();
    EXPECT_FALSE(survives({}));
    EXPECT_FALSE(survives({0x05, 0x01, 0x09, 0x02, 0xA1, 0x01, 0xC0}));
    EXPECT_FALSE(survives({0xff, 0xff, 0xff}));
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos,
              told.find("QrxHIDManager: device 0001:0002 at 1-2, interface 0: report descriptor declares no report"))
        << told;
}

TEST_F(MalformedDescriptors, AHostileDescriptorDoesNotFillTheLog)
{
    fake::Bytes descriptor = fake::mouseDescriptor();
    for (int fault = 0; fault < 500; ++fault) {
        descriptor.push_back(0xC0); // End Collection without a collection
    }
    testing::internal::CaptureStderr();
    EXPECT_TRUE(survives(descriptor));
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_GE(10, std::count(told.begin(), told.end(), '\n')) << told;
    EXPECT_LE(1, std::count(told.begin(), told.end(), '\n')) << told;
}

TEST_F(MalformedDescriptors, EightFaultsAreToldEachAndMoreByTheirNumber)
{
    for (const int faults : {1, 8, 9, 11}) {
        fake::Bytes descriptor = fake::mouseDescriptor();
        descriptor.insert(descriptor.end(), static_cast<std::size_t>(faults), 0xC0);
        testing::internal::CaptureStderr();
        EXPECT_TRUE(survives(descriptor));
        const std::string told = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::min(faults, 9), std::count(told.begin(), told.end(), '\n')) << told;
        EXPECT_EQ(faults > 8, told.ends_with(": " + std::to_string(faults - 8) + " more faults\n")) << told;
    }
}

TEST_F(MalformedDescriptors, EveryPrefixAndManyMutationsAreSurvived)
{
    testing::internal::CaptureStderr();
    const fake::Bytes whole = fake::mouseDescriptor();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        survives(fake::Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    }
    std::mt19937 random(7);
    int readable = 0;
    for (int round = 0; round < 150; ++round) {
        fake::Bytes mutated = round % 2 == 0 ? whole : fake::makeVendorDevice().facts.interfaces[0].reportDescriptor;
        for (int change = 0; change <= round % 4; ++change) {
            mutated[random() % mutated.size()] = static_cast<std::uint8_t>(random());
        }
        readable += survives(mutated) ? 1 : 0;
    }
    testing::internal::GetCapturedStderr();
    EXPECT_LT(10, readable) << "the mutations left nothing to test";
}
