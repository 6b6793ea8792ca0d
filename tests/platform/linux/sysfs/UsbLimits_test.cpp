/// Numbers, names and descriptors at their exact limits, and text that is nearly a number.

#include "Linux/sysfs/SysfsText.h"
#include "Linux/sysfs/UsbDescriptors.h"
#include "Linux/sysfs/UsbNames.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace qrx::platform {
namespace {

using Bytes = std::vector<std::uint8_t>;

TEST(UsbLimits, ANumberMayBeTheLimitItself)
{
    EXPECT_EQ(hexNumber("ffff\n", 0xFFFF), 0xFFFFU);
    EXPECT_EQ(hexNumber("10000\n", 0xFFFF), std::nullopt);
    EXPECT_EQ(decimalNumber("255", 255), 255U);
    EXPECT_EQ(decimalNumber("256", 255), std::nullopt);
    EXPECT_EQ(decimalNumber("4294967295", UINT32_MAX), UINT32_MAX);
    EXPECT_EQ(decimalNumber("4294967296", UINT32_MAX), std::nullopt);
}

TEST(UsbLimits, TextThatOnlyBeginsOrEndsAsANumberIsNone)
{
    for (const char* text : {"12zz", "zz12", "12\r\n", "1,2", "0x12", "+12", "1 ", " 1"}) {
        const bool isBlankAside = text == std::string_view("1 ") || text == std::string_view(" 1");
        EXPECT_EQ(decimalNumber(text, 255).has_value(), isBlankAside) << text;
    }
    EXPECT_EQ(hexNumber("12g", 0xFFFF), std::nullopt);
    EXPECT_EQ(decimalNumber("1a", 255), std::nullopt) << "no hexadecimal digits";
}

TEST(UsbLimits, ASpeedBelongsToTheClassThatItReaches)
{
    EXPECT_EQ(speedNumber("479\n"), 1);
    EXPECT_EQ(speedNumber("481\n"), 2);
    EXPECT_EQ(speedNumber("4999\n"), 2);
    EXPECT_EQ(speedNumber("1.5"), 0);
    EXPECT_EQ(speedNumber("1\n"), 1);
    EXPECT_EQ(speedNumber("1000000\n"), 3);
    EXPECT_EQ(speedNumber("1000001\n"), 1) << "unknown";
}

TEST(UsbLimits, NamesMayHaveTheHighestNumbers)
{
    EXPECT_EQ(usbPlace("255-255")->portNumber, 255);
    EXPECT_EQ(usbPlace("1-1")->locationID, 0x01100000U);
    EXPECT_EQ(usbPlace("1-1.2.3.4.5.6")->locationID, 0x01123456U);
    EXPECT_EQ(usbInterfaceName("1-1:255.255")->number, 255);
    EXPECT_EQ(usbInterfaceName("1-1:256.0"), std::nullopt);
    EXPECT_TRUE(isHidrawName("hidraw1048575"));
    EXPECT_FALSE(isHidrawName("hidraw1048576"));
    EXPECT_TRUE(isHIDDeviceName("0003:abcd:EF09.0"));
    EXPECT_FALSE(isHIDDeviceName(":046D:C52B.0001"));
    EXPECT_FALSE(isHIDDeviceName("0003:046D:.0001"));
}

/// A device descriptor whose bytes from 4 on count up from 0x10.
Bytes deviceDescriptor()
{
    Bytes bytes = {18, 1, 0, 2};
    for (std::uint8_t value = 0x10; bytes.size() < 18; ++value) {
        bytes.push_back(value);
    }
    return bytes;
}

void append(Bytes& bytes, const Bytes& more)
{
    bytes.insert(bytes.end(), more.begin(), more.end());
}

const Bytes kConfiguration = {9, 2, 34, 0, 1, 7, 0, 0xA0, 50};
const Bytes kHIDInterface = {9, 4, 5, 1, 2, 3, 8, 9, 6};

TEST(UsbLimits, EveryFactOfADeviceComesFromItsPlace)
{
    const auto usb = parseUsbDescriptors(deviceDescriptor());
    ASSERT_TRUE(usb);
    EXPECT_EQ(usb->deviceClass, 0x10);
    EXPECT_EQ(usb->deviceSubclass, 0x11);
    EXPECT_EQ(usb->deviceProtocol, 0x12);
    EXPECT_EQ(usb->maxPacketSize0, 0x13);
    EXPECT_EQ(usb->vendorID, 0x1514);
    EXPECT_EQ(usb->productID, 0x1716);
    EXPECT_EQ(usb->releaseNumber, 0x1918);
    EXPECT_EQ(usb->vendorNameIndex, 0x1A);
    EXPECT_EQ(usb->productNameIndex, 0x1B);
    EXPECT_EQ(usb->serialNumberIndex, 0x1C);
    EXPECT_EQ(usb->configurationCount, 0x1D);
}

TEST(UsbLimits, EveryFactOfAnInterfaceComesFromItsPlace)
{
    Bytes bytes = deviceDescriptor();
    append(bytes, kConfiguration);
    append(bytes, kHIDInterface);
    const auto usb = parseUsbDescriptors(bytes);
    ASSERT_TRUE(usb && usb->configuration(7) != nullptr);
    ASSERT_EQ(usb->configuration(7)->interfaces.size(), 1U);
    const auto& interface = usb->configuration(7)->interfaces[0];
    EXPECT_EQ(interface.number, 5);
    EXPECT_EQ(interface.alternateSetting, 1);
    EXPECT_EQ(interface.endpointCount, 2);
    EXPECT_EQ(interface.interfaceClass, 3);
    EXPECT_EQ(interface.interfaceSubclass, 8);
    EXPECT_EQ(interface.interfaceProtocol, 9);
    EXPECT_EQ(interface.nameIndex, 6);
    EXPECT_EQ(interface.countryCode, std::nullopt);
}

TEST(UsbLimits, ADescriptorThatIsOneByteShortIsPassedOver)
{
    const Bytes shortConfiguration = {8, 2, 34, 0, 1, 9, 0, 0xA0};
    const Bytes shortInterface = {8, 4, 6, 0, 1, 3, 0, 0};
    const Bytes shortHID = {5, 0x21, 0x11, 1, 33};
    const Bytes shortestHID = {6, 0x21, 0x11, 1, 44, 1};
    Bytes bytes = deviceDescriptor();
    append(bytes, shortConfiguration);
    append(bytes, kHIDInterface); // of no configuration
    append(bytes, kConfiguration);
    append(bytes, shortestHID); // of no interface
    append(bytes, shortInterface);
    append(bytes, kHIDInterface);
    append(bytes, shortHID);
    append(bytes, {2, 0x24});
    append(bytes, shortestHID);
    append(bytes, {6, 0x21, 0x11, 1, 55, 1}); // the first one counts
    const auto usb = parseUsbDescriptors(bytes);
    ASSERT_TRUE(usb);
    ASSERT_EQ(usb->configurations.size(), 1U);
    ASSERT_EQ(usb->configurations[0].interfaces.size(), 1U);
    EXPECT_EQ(usb->configurations[0].interfaces[0].countryCode, std::uint8_t{44});
}

TEST(UsbLimits, OnlyAHIDInterfaceHasACountry)
{
    Bytes other = kHIDInterface;
    other[5] = 0xFF;
    Bytes bytes = deviceDescriptor();
    append(bytes, kConfiguration);
    append(bytes, other);
    append(bytes, {6, 0x21, 0x11, 1, 44, 1});
    EXPECT_EQ(parseUsbDescriptors(bytes)->configurations[0].interfaces[0].countryCode, std::nullopt);
}

TEST(UsbLimits, InterfacesBelongToTheConfigurationBeforeThem)
{
    Bytes second = kConfiguration;
    second[5] = 8;
    Bytes bytes = deviceDescriptor();
    append(bytes, kConfiguration);
    append(bytes, kHIDInterface);
    append(bytes, second);
    append(bytes, kHIDInterface);
    append(bytes, kHIDInterface);
    const auto usb = parseUsbDescriptors(bytes);
    ASSERT_TRUE(usb);
    EXPECT_EQ(usb->configuration(7)->interfaces.size(), 1U);
    EXPECT_EQ(usb->configuration(8)->interfaces.size(), 2U);
    EXPECT_EQ(usb->configuration(8)->interfaceCount(), 1U) << "one number";
}

TEST(UsbLimits, ADeviceDescriptorThatNamesALesserLengthIsNone)
{
    Bytes bytes = deviceDescriptor();
    bytes[0] = 17;
    EXPECT_FALSE(parseUsbDescriptors(bytes));
    bytes[0] = 19;
    EXPECT_TRUE(parseUsbDescriptors(bytes)) << "what follows cannot be told apart, the device can";
}

} // namespace
} // namespace qrx::platform
