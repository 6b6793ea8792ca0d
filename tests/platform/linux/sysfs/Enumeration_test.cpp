#include "FaultyCalls.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include <sys/stat.h>

namespace qrx::platform {
namespace {

using test::describe;
using test::hidInterface;
using test::TreeDevice;
using test::TreeInterface;

class Enumeration : public testing::Test {
protected:
    LinuxPaths paths()
    {
        LinuxPaths paths = tree.paths();
        paths.calls = &calls;
        return paths;
    }
    std::string refreshed()
    {
        provider->refresh(sink);
        return sink.takeLog();
    }

    test::SysfsTree tree;
    test::FaultyCalls calls;
    test::RecordingSink sink;
    std::unique_ptr<Provider> provider = makeLinuxProvider(paths());
};

TreeDevice mouse(const std::string& name = "1-1", int hidraw = 0)
{
    TreeDevice device;
    device.name = name;
    device.interfaces = {hidInterface(0, hidraw)};
    return device;
}

TEST_F(Enumeration, OfAMachineWithoutUsbFindsNothing)
{
    std::filesystem::remove_all(tree.root() / "sys/bus");
    EXPECT_EQ(refreshed(), "");
}

TEST_F(Enumeration, GivesEveryFactOfADevice)
{
    TreeDevice device = mouse("2-3");
    device.interfaces[0].subclass = 1;
    device.interfaces[0].protocol = 2;
    device.interfaces[0].country = 33;
    device.interfaces[0].name = "Pointer";
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 2-3 hid 1\n");
    EXPECT_EQ(describe(sink.at("2-3")),
              "2-3 1234:abcd release 0102 class 0/0/0 packet 64 configuration 1 of 1 vendor \"Qrx\" product \"Mouse\" "
              "serial \"S1\" location 02300000 port 3 address 5 speed 1\n"
              "  0 setting 0 endpoints 1 class 3/1/2 name \"Pointer\" hid yes descriptor 45 country 33\n");
    EXPECT_EQ(sink.at("2-3").interfaces[0].reportDescriptor, test::mouseDescriptor());
}

TEST_F(Enumeration, PublishesADeviceOnce)
{
    tree.plug(mouse());
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n");
    EXPECT_EQ(refreshed(), "");
    EXPECT_EQ(sink.devices().size(), 1U);
}

TEST_F(Enumeration, EndsADeviceThatIsGone)
{
    tree.plug(mouse());
    refreshed();
    tree.unplug("1-1");
    EXPECT_EQ(refreshed(), "- 1-1\n");
    EXPECT_EQ(refreshed(), "");
}

TEST_F(Enumeration, TakesADeviceThatWasPluggedAgainForANewOne)
{
    tree.plug(mouse());
    refreshed();
    tree.unplug("1-1");
    tree.plug(mouse("1-1", 1));
    EXPECT_EQ(refreshed(), "- 1-1\n+ 1-1 hid 1\n");
    EXPECT_EQ(sink.devices().rbegin()->first, 2U);
}

TEST_F(Enumeration, ListsAllInterfacesOfACompositeDeviceByNumber)
{
    TreeDevice device = mouse();
    TreeInterface storage;
    storage.number = 10;
    storage.interfaceClass = 8;
    storage.subclass = 6;
    storage.protocol = 80;
    storage.endpoints = 2;
    storage.driver = "usb-storage";
    device.interfaces = {hidInterface(0, 0), hidInterface(9, 1), storage};
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 2\n");
    EXPECT_EQ(describe(sink.at("1-1")),
              "1-1 1234:abcd release 0102 class 0/0/0 packet 64 configuration 1 of 1 vendor \"Qrx\" product \"Mouse\" "
              "serial \"S1\" location 01100000 port 1 address 5 speed 1\n"
              "  0 setting 0 endpoints 1 class 3/0/0 name none hid yes descriptor 45 country 0\n"
              "  9 setting 0 endpoints 1 class 3/0/0 name none hid yes descriptor 45 country 0\n"
              "  10 setting 0 endpoints 2 class 8/6/80 name none hid no descriptor 0 country none\n");
}

TEST_F(Enumeration, LeavesOutHubsAndDevicesWithoutHID)
{
    TreeDevice hub = mouse("1-1");
    hub.deviceClass = 9;
    hub.interfaces[0] = {};
    hub.interfaces[0].interfaceClass = 9;
    hub.interfaces[0].driver = "hub";
    tree.plug(hub);
    tree.plug(mouse("1-1.4"));
    EXPECT_EQ(refreshed(), "+ 1-1.4 hid 1\n");
    EXPECT_EQ(sink.at("1-1.4").locationID, 0x01140000U);
    EXPECT_EQ(sink.at("1-1.4").portNumber, 4);
}

TEST_F(Enumeration, FindsHIDBelowAnInterfaceOfAnotherClass)
{
    TreeDevice device = mouse();
    device.interfaces[0].interfaceClass = 0xFF;
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n");
}

TEST_F(Enumeration, ShowsAnInterfaceThatAnotherDriverServesWithoutHID)
{
    TreeDevice device = mouse();
    TreeInterface claimed;
    claimed.number = 1;
    claimed.driver = "usbfs";
    device.interfaces.push_back(claimed);
    tree.plug(device);
    device = mouse("1-2", 1);
    device.interfaces = {claimed};
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n+ 1-2 hid 0\n");
}

TEST_F(Enumeration, TellsThePresentAlternateSetting)
{
    TreeDevice device = mouse();
    device.interfaces[0].furtherSettings = 2;
    device.interfaces[0].presentSetting = 2;
    tree.plug(device);
    refreshed();
    EXPECT_EQ(sink.at("1-1").interfaces[0].alternateSetting, 2);
    EXPECT_EQ(sink.at("1-1").interfaces[0].endpointCount, 3);
}

TEST_F(Enumeration, TellsTheOtherOfTwoAlternateSettings)
{
    TreeDevice device = mouse();
    device.interfaces[0].furtherSettings = 1;
    device.interfaces[0].presentSetting = 1;
    tree.plug(device);
    refreshed();
    EXPECT_EQ(sink.at("1-1").interfaces[0].alternateSetting, 1);
    EXPECT_EQ(sink.at("1-1").interfaces[0].endpointCount, 2);
}

TEST_F(Enumeration, AnInterfaceWhoseNameIsEmptyHasNone)
{
    TreeDevice device = mouse();
    device.interfaces[0].name = "Pointer";
    tree.plug(device);
    test::SysfsTree::write(tree.interfacePath(device, device.interfaces[0]) / "interface", "\n");
    refreshed();
    EXPECT_EQ(sink.at("1-1").interfaces[0].name, std::nullopt);
}

TEST_F(Enumeration, TellsTheSpeed)
{
    std::string place = "1-1";
    for (const auto& [text, speed] : {std::pair("1.5", 0), {"12", 1}, {"480", 2}, {"5000", 3}, {"20000", 3}}) {
        TreeDevice device = mouse(place);
        device.speed = text;
        device.address = 77;
        tree.plug(device);
        refreshed();
        EXPECT_EQ(sink.at(place).speed, speed) << text;
        EXPECT_EQ(sink.at(place).address, 77);
        ++place.back();
    }
}

TEST_F(Enumeration, TellsTheActiveConfiguration)
{
    TreeDevice device = mouse();
    device.configuration = 2;
    tree.plug(device);
    refreshed();
    EXPECT_EQ(sink.at("1-1").configurationValue, 2);
    EXPECT_EQ(sink.at("1-1").interfaces.size(), 1U);
}

TEST_F(Enumeration, HasNoStringsWhereTheDeviceHasNone)
{
    TreeDevice device = mouse();
    device.manufacturerText.reset();
    device.productText.reset();
    device.serialText.reset();
    tree.plug(device);
    refreshed();
    EXPECT_EQ(sink.at("1-1").vendorName, std::nullopt);
    EXPECT_EQ(sink.at("1-1").productName, std::nullopt);
    EXPECT_EQ(sink.at("1-1").serialNumber, std::nullopt);
}

TEST_F(Enumeration, DropsAnEmptyProductNameButKeepsOtherEmptyStrings)
{
    TreeDevice device = mouse();
    device.manufacturerText = device.productText = device.serialText = "";
    tree.plug(device);
    refreshed();
    EXPECT_EQ(sink.at("1-1").vendorName, "");
    EXPECT_EQ(sink.at("1-1").productName, std::nullopt);
    EXPECT_EQ(sink.at("1-1").serialNumber, "");
}

TEST_F(Enumeration, GivesStringsAsUtf8WhateverTheyAre)
{
    TreeDevice device = mouse();
    device.manufacturerText = "Pr\xC3\xB8ve \xF0\x9F\x8E\xB9";
    device.productText = "a\xFF\xFE";
    device.serialText = "two lines\n";
    tree.plug(device);
    refreshed();
    EXPECT_EQ(sink.at("1-1").vendorName, "Pr\xC3\xB8ve \xF0\x9F\x8E\xB9");
    EXPECT_EQ(sink.at("1-1").productName, "a\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(sink.at("1-1").serialNumber, "two lines\n");
}

TEST_F(Enumeration, BoundsAbsurdlyLongAttributes)
{
    TreeDevice device = mouse();
    device.productText = std::string(100000, 'x');
    tree.plug(device);
    test::SysfsTree::write(tree.hidPath(device, device.interfaces[0]) / "report_descriptor", std::string(100000, '\5'));
    refreshed();
    EXPECT_EQ(sink.at("1-1").productName->size(), 4096U);
    EXPECT_EQ(sink.at("1-1").interfaces[0].reportDescriptor.size(), 4096U);
}

TEST_F(Enumeration, ReadsDescriptorsThatFillSeveralPages)
{
    TreeDevice device = mouse();
    tree.plug(device);
    // Unknown descriptors between the configuration and its interface, as audio devices have them.
    std::string bytes = test::descriptorsOf(device);
    std::string filler;
    for (int count = 0; count < 40; ++count) {
        filler += std::string(1, '\xFF') + "\x24" + std::string(253, '\1');
    }
    bytes.insert(18 + 9, filler);
    test::SysfsTree::write(tree.devicePath("1-1") / "descriptors", bytes);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n");
    EXPECT_EQ(sink.at("1-1").interfaces[0].interfaceClass, 3);
}

TEST_F(Enumeration, FallsBackToSingleAttributesWhereDescriptorsAreMissingOrBroken)
{
    TreeDevice device = mouse();
    device.interfaces[0].protocol = 2;
    tree.plug(device);
    refreshed();
    std::string expected = describe(sink.at("1-1"));
    // The HID descriptor is not among the attributes of USB.
    expected.replace(expected.find("country 0"), 9, "country none");
    for (const std::string& bytes : {std::string(), std::string("\x12\x01"), std::string(64, '\0')}) {
        test::SysfsTree::write(tree.devicePath("1-1") / "descriptors", bytes);
        test::RecordingSink anew;
        makeLinuxProvider(paths())->refresh(anew);
        EXPECT_EQ(describe(anew.at("1-1")), expected);
    }
    std::filesystem::remove(tree.devicePath("1-1") / "descriptors");
    test::RecordingSink anew;
    makeLinuxProvider(paths())->refresh(anew);
    EXPECT_EQ(describe(anew.at("1-1")), expected);
}

TEST_F(Enumeration, ListsDevicesByPlaceInACopyOfATree)
{
    tree.plug(mouse("1-10", 0));
    tree.plug(mouse("1-9", 1));
    tree.plug(mouse("1-2", 2));
    EXPECT_EQ(refreshed(), "+ 1-2 hid 1\n+ 1-9 hid 1\n+ 1-10 hid 1\n");
}

/// sysfs itself, as far as its listing goes: inodes in ascending order of creation.
class SysfsOrder : public test::FaultyCalls {
public:
    bool isSysfs(int) override { return true; }
};

TEST(EnumerationOrder, IsThatOfArrivalInSysfs)
{
    test::SysfsTree tree;
    SysfsOrder calls;
    LinuxPaths paths = tree.paths();
    paths.calls = &calls;
    tree.plug(mouse("1-3", 0));
    tree.plug(mouse("1-1", 1));
    const auto inode = [&](const char* name) {
        struct stat facts {};
        EXPECT_EQ(::lstat((tree.root() / "sys/bus/usb/devices" / name).c_str(), &facts), 0);
        return facts.st_ino;
    };
    const bool firstIsOlder = inode("1-3") < inode("1-1");
    test::RecordingSink sink;
    makeLinuxProvider(paths)->refresh(sink);
    EXPECT_EQ(sink.takeLog(), firstIsOlder ? "+ 1-3 hid 1\n+ 1-1 hid 1\n" : "+ 1-1 hid 1\n+ 1-3 hid 1\n");
}

TEST_F(Enumeration, LeavesAYoungIncompleteDeviceForTheNextTime)
{
    TreeDevice device = mouse();
    device.interfaces[0].hidraw = -1;
    device.connectedMs = 10;
    tree.plug(device);
    EXPECT_EQ(refreshed(), "");
    device.interfaces[0].hidraw = 0;
    tree.addNode(device, device.interfaces[0]);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n");
}

TEST_F(Enumeration, TakesAnIncompleteDeviceThatIsOldEnoughOrOfUnknownAge)
{
    TreeDevice device = mouse();
    device.interfaces[0].hidraw = -1;
    device.connectedMs = 2000000;
    tree.plug(device);
    device.name = "1-2";
    device.connectedMs = std::nullopt;
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n+ 1-2 hid 1\n");
}

TEST_F(Enumeration, TakesADeviceWhoseDriverRefusedItWithoutItsHID)
{
    TreeDevice device = mouse();
    device.interfaces[0].hidraw = -1;
    device.interfaces[0].reportDescriptor.clear(); // as long as no HID driver is bound
    device.connectedMs = 2000000;
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 0\n");
}

TEST_F(Enumeration, LeavesOutADeviceWithoutHIDWhoseDescriptorsAreMissing)
{
    TreeDevice storage = mouse();
    storage.interfaces[0] = {};
    storage.interfaces[0].interfaceClass = 8;
    storage.interfaces[0].driver = "usb-storage";
    tree.plug(storage);
    std::filesystem::remove(tree.devicePath("1-1") / "descriptors");
    TreeDevice withoutInterfaces = mouse("1-2");
    withoutInterfaces.interfaces.clear();
    tree.plug(withoutInterfaces);
    EXPECT_EQ(refreshed(), "");
}

TEST_F(Enumeration, OfSeveralHIDDevicesOfAnInterfaceWithoutNodeTakesTheFirst)
{
    constexpr int kFirst = 11;
    constexpr int kLast = 19;
    const auto plug = [&](const std::string& name, std::vector<int> numbers) {
        TreeDevice device = mouse(name);
        device.connectedMs.reset(); // of unknown age, so that it is not waited for
        TreeInterface& interface = device.interfaces[0];
        interface.hidNumber = -1;
        interface.hidraw = -1;
        tree.plug(device);
        for (const int number : numbers) {
            interface.hidNumber = number;
            interface.reportDescriptor = {0x05, static_cast<std::uint8_t>(number)};
            tree.addHID(device, interface);
        }
    };
    std::vector<int> numbers;
    for (int number = kFirst; number <= kLast; ++number) {
        numbers.push_back(number);
    }
    plug("1-1", numbers);
    std::reverse(numbers.begin(), numbers.end());
    plug("1-2", numbers);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n+ 1-2 hid 1\n");
    for (const char* name : {"1-1", "1-2"}) {
        EXPECT_EQ(sink.at(name).interfaces[0].reportDescriptor, (std::vector<std::uint8_t>{0x05, kFirst})) << name;
    }
}

TEST_F(Enumeration, PublishesADeviceAnewWhoseNodeWasExchanged)
{
    TreeDevice device = mouse();
    tree.plug(device);
    refreshed();
    tree.removeHID(device, device.interfaces[0]);
    device.interfaces[0].hidraw = 7;
    tree.addHID(device, device.interfaces[0]);
    tree.addNode(device, device.interfaces[0]);
    EXPECT_EQ(refreshed(), "- 1-1\n+ 1-1 hid 1\n");
}

TEST_F(Enumeration, PublishesADeviceAnewWhoseNodeWasMadeAgainUnderItsName)
{
    const TreeDevice device = mouse();
    tree.plug(device);
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n");
    tree.addNode(device, device.interfaces[0]);
    EXPECT_EQ(refreshed(), "- 1-1\n+ 1-1 hid 1\n");
}

TEST_F(Enumeration, PassesOverNodesThatAreNotOnUsbAndLinksThatLeadNowhere)
{
    tree.plug(mouse());
    const auto nodes = tree.root() / "sys/class/hidraw";
    const auto link = [&](const char* name, const char* target) {
        std::filesystem::create_symlink(target, nodes / name);
    };
    link("hidraw7", "../../devices/virtual/misc/uhid/0005:046D:B342.0009/hidraw/hidraw7");
    link("hidraw8", "../../devices/pci0000:00/usb1/1-1/1-1:1.0/hidraw/hidraw8");
    link("hidraw9", "/");
    std::filesystem::create_directory(nodes / "hidraw10");
    test::SysfsTree::write(nodes / "hidraw11", "no link");
    EXPECT_EQ(refreshed(), "+ 1-1 hid 1\n");
}

TEST_F(Enumeration, OpensNoNodeAndSendsNothing)
{
    TreeDevice device = mouse();
    device.interfaces.push_back(hidInterface(1, 1));
    tree.plug(device);
    refreshed();
    EXPECT_EQ(calls.trace().find("ioctl"), std::string::npos);
    EXPECT_EQ(calls.trace().find("write"), std::string::npos);
    EXPECT_EQ(calls.trace().find("open " + tree.node(0).string()), std::string::npos) << calls.trace();
    EXPECT_EQ(calls.openDescriptors(), 0U);
}

TEST_F(Enumeration, TakesFewerThanFortyCallsANode)
{
    TreeDevice device = mouse();
    device.interfaces[0].name = "Pointer";
    tree.plug(device);
    calls.resetCount();
    calls.resetTrace();
    refreshed();
    EXPECT_LE(calls.count(), 38) << calls.trace();
    for (int number = 2; number <= 20; ++number) {
        device = mouse("1-" + std::to_string(number), 2 * number);
        device.interfaces.push_back(hidInterface(1, 2 * number + 1));
        tree.plug(device);
    }
    calls.resetCount();
    test::RecordingSink anew;
    makeLinuxProvider(paths())->refresh(anew);
    EXPECT_EQ(anew.devices().size(), 20U);
    EXPECT_LE(calls.count(), 39 * 17);
}

TEST_F(Enumeration, ReadsEachAttributeOnce)
{
    TreeDevice device = mouse();
    device.interfaces[0].name = "Pointer";
    tree.plug(device);
    refreshed();
    std::istringstream lines(calls.trace());
    std::set<std::string> opened;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("open ")) {
            EXPECT_TRUE(opened.insert(line).second) << line;
        }
    }
    EXPECT_GE(opened.size(), 8U);
}

TEST_F(Enumeration, ReadsNoAttributeAgainOfWhatHasNotChanged)
{
    tree.plug(mouse());
    refreshed();
    calls.resetCount();
    calls.resetTrace();
    EXPECT_EQ(refreshed(), "");
    EXPECT_EQ(calls.trace().find("read\n"), std::string::npos) << calls.trace();
    EXPECT_LE(calls.count(), 16);
}

} // namespace
} // namespace qrx::platform
