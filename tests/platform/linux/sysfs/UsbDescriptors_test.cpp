#include "Linux/sysfs/UsbDescriptors.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <random>

namespace qrx::platform {
namespace {

std::span<const std::uint8_t> bytesOf(const std::string& text)
{
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string compositeBytes()
{
    test::TreeDevice device;
    device.interfaces = {test::hidInterface(0, 0), test::hidInterface(3, 1)};
    device.interfaces[0].furtherSettings = 1;
    device.interfaces[1].country = 33;
    return test::descriptorsOf(device);
}

TEST(UsbDescriptors, ListEveryAlternateSettingButCountInterfaces)
{
    const auto usb = parseUsbDescriptors(bytesOf(compositeBytes()));
    ASSERT_TRUE(usb);
    const auto* configuration = usb->configuration(1);
    ASSERT_NE(configuration, nullptr);
    EXPECT_EQ(configuration->interfaces.size(), 3U);
    EXPECT_EQ(configuration->interfaceCount(), 2U);
    EXPECT_EQ(configuration->interfaces[2].number, 3);
    EXPECT_EQ(configuration->interfaces[2].countryCode, std::uint8_t{33});
    EXPECT_EQ(usb->configuration(2), nullptr);
}

TEST(UsbDescriptors, KnowWhetherAConfigurationHasAHIDInterface)
{
    test::TreeDevice device;
    device.interfaces = {test::hidInterface(0, 0)};
    device.interfaces[0].interfaceClass = 8;
    EXPECT_FALSE(parseUsbDescriptors(bytesOf(test::descriptorsOf(device)))->configurations.at(0).hasHID());
    device.interfaces.push_back(test::hidInterface(1, 0));
    EXPECT_TRUE(parseUsbDescriptors(bytesOf(test::descriptorsOf(device)))->configurations.at(0).hasHID());
}

TEST(UsbDescriptors, FindTheHIDDescriptorBehindTheEndpoints)
{
    std::string bytes = compositeBytes().substr(0, 18 + 9);
    const char tail[] = {9, 4, 0, 0, 1, 3, 0, 0, 0, 7, 5, '\x81', 3, 8, 0, 10, 9, 0x21, 0x11, 1, 7, 1, 0x22, 50, 0};
    bytes.append(tail, sizeof tail);
    const auto usb = parseUsbDescriptors(bytesOf(bytes));
    ASSERT_TRUE(usb);
    ASSERT_EQ(usb->configurations.size(), 1U);
    ASSERT_EQ(usb->configurations[0].interfaces.size(), 1U);
    EXPECT_EQ(usb->configurations[0].interfaces[0].countryCode, std::uint8_t{7});
}

TEST(UsbDescriptors, AreRefusedWithoutAWholeDeviceDescriptor)
{
    const std::string bytes = compositeBytes();
    for (std::size_t size = 0; size < 18; ++size) {
        EXPECT_FALSE(parseUsbDescriptors(bytesOf(bytes.substr(0, size)))) << size;
    }
    EXPECT_TRUE(parseUsbDescriptors(bytesOf(bytes.substr(0, 18))));
    std::string wrongType = bytes;
    wrongType[1] = 2;
    EXPECT_FALSE(parseUsbDescriptors(bytesOf(wrongType)));
}

TEST(UsbDescriptors, KeepWhatCameBeforeABrokenLength)
{
    std::string bytes = compositeBytes();
    const std::size_t secondInterface = bytes.size() - 25;
    for (const int length : {0, 1, 200}) {
        std::string broken = bytes;
        broken[secondInterface] = static_cast<char>(length);
        const auto usb = parseUsbDescriptors(bytesOf(broken));
        ASSERT_TRUE(usb) << length;
        EXPECT_EQ(usb->configuration(1)->interfaceCount(), 1U) << length;
    }
}

TEST(UsbDescriptors, AreReadToTheEndWhateverTheBytesAre)
{
    std::mt19937 random(7);
    const std::string good = compositeBytes();
    for (int round = 0; round < 2000; ++round) {
        std::string bytes = good.substr(0, 18 + random() % (good.size() - 17));
        for (unsigned change = random() % 8; change > 0; --change) {
            bytes[2 + random() % (bytes.size() - 2)] = static_cast<char>(random());
        }
        const auto usb = parseUsbDescriptors(bytesOf(bytes));
        ASSERT_TRUE(usb);
        EXPECT_LE(usb->configurations.size(), bytes.size() / 9);
    }
}

} // namespace
} // namespace qrx::platform
