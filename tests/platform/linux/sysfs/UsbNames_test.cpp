#include "Linux/sysfs/UsbNames.h"

#include <gtest/gtest.h>

namespace qrx::platform {
namespace {

TEST(UsbPlace, GivesOneNibbleForEachHubPort)
{
    const auto place = usbPlace("3-1.4.2");
    ASSERT_TRUE(place);
    EXPECT_EQ(place->locationID, 0x03142000U);
    EXPECT_EQ(place->portNumber, 2);
}

TEST(UsbPlace, HasTheBusInTheTopByte)
{
    EXPECT_EQ(usbPlace("255-7")->locationID, 0xFF700000U);
}

TEST(UsbPlace, KeepsTheLowBitsOfAPortAboveFifteen)
{
    const auto place = usbPlace("1-17");
    ASSERT_TRUE(place);
    EXPECT_EQ(place->locationID, 0x01100000U);
    EXPECT_EQ(place->portNumber, 17);
}

TEST(UsbPlace, LeavesOutWhatLiesBelowTheSixthLevel)
{
    const auto place = usbPlace("1-1.2.3.4.5.6.7");
    ASSERT_TRUE(place);
    EXPECT_EQ(place->locationID, 0x01123456U);
    EXPECT_EQ(place->portNumber, 7);
}

TEST(UsbPlace, IsRefusedForWhatIsNoDevice)
{
    for (const char* name : {"usb1", "1-1:1.0", "1-", "-1", "1", "", "1-1.", "1-.1", "1-1..2", "0-1", "256-1", "1-256",
                             "a-1", "1-a", " 1-1", "1- 1", "1-1-1", "+1-1"}) {
        EXPECT_FALSE(usbPlace(name)) << name;
    }
}

TEST(UsbInterfaceName, HasConfigurationAndNumber)
{
    const auto name = usbInterfaceName("1-4.2:3.12");
    ASSERT_TRUE(name);
    EXPECT_EQ(name->device, "1-4.2");
    EXPECT_EQ(name->configuration, 3);
    EXPECT_EQ(name->number, 12);
}

TEST(UsbInterfaceName, IsRefusedForWhatIsNoInterface)
{
    for (const char* name :
         {"1-1", "1-1:", "1-1:1", "1-1:1.", "1-1:.0", "1-1:1.256", "usb1:1.0", "1-1:1.0.0", "ep_81"}) {
        EXPECT_FALSE(usbInterfaceName(name)) << name;
    }
}

TEST(HIDDeviceName, IsFourHexadecimalNumbers)
{
    EXPECT_TRUE(isHIDDeviceName("0003:046D:C52B.0001"));
    EXPECT_TRUE(isHIDDeviceName("0003:046D:C52B.1000F"));
    for (const char* name : {"0003:046D:C52B", "0003:046D.0001", "power", "", "0003:046D:C52B.", "0003::C52B.0001",
                             "0003:046D:C52B.00g1"}) {
        EXPECT_FALSE(isHIDDeviceName(name)) << name;
    }
}

TEST(HidrawName, IsTheWordAndANumber)
{
    EXPECT_TRUE(isHidrawName("hidraw0"));
    EXPECT_TRUE(isHidrawName("hidraw63"));
    for (const char* name : {"hidraw", "hidraw-1", "hidraw1a", "hidraw99999999999", "xhidraw0", "hidraw0/"}) {
        EXPECT_FALSE(isHidrawName(name)) << name;
    }
}

TEST(UsbDeviceOfAPath, IsTheInnermostDevice)
{
    EXPECT_EQ(usbDeviceOf("/devices/pci0000:00/0000:00:14.0/usb1/1-2/1-2.1"), "1-2.1");
    EXPECT_EQ(
        usbDeviceOf("/devices/pci0000:00/0000:00:14.0/usb1/1-2/1-2.1/1-2.1:1.0/0003:1234:ABCD.0001/hidraw/hidraw0"),
        "1-2.1");
    EXPECT_EQ(usbDeviceOf("/devices/virtual/misc/uhid/0003:1234:ABCD.0001/hidraw/hidraw0"), "");
    EXPECT_EQ(usbDeviceOf("/devices/pci0000:00/0000:00:14.0/usb1"), "");
    EXPECT_EQ(usbDeviceOf(""), "");
}

} // namespace
} // namespace qrx::platform
