/// Devices that others made: user-space HID devices, the kernel's gadgets, QEMU's keyboard, mouse and tablet.

#include "devices/HidGadget.h"
#include "devices/UhidDevice.h"
#include "rig_tests/Descriptors.h"
#include "support/HidrawNode.h"
#include "support/QemuDevices.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <system_error>

using namespace qrx::guest;

namespace {

constexpr std::uint16_t kQemuVendor = 0x0627;
constexpr std::uint16_t kQemuProduct = 0x0001;

} // namespace

TEST(UhidDevice, ReportsGoBothWays)
{
    UhidIdentity identity;
    identity.name = "Prøve";
    UhidDevice device(identity, plainDescriptor(4));
    const std::string path = device.waitForNode();
    ASSERT_NE(path, "");
    HidrawNode node(path);
    EXPECT_EQ(node.name(), identity.name);
    device.sendInput({1, 2, 3, 4});
    EXPECT_EQ(node.readReport(), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(node.write({0, 5, 6, 7, 8}), 5);
    EXPECT_EQ(node.setFeature({0, 9, 10, 11, 12}), 5);
    const std::vector<SentReport> sent = device.waitForSentReports(2);
    ASSERT_EQ(sent.size(), 2U);
    EXPECT_EQ(sent[0].type, UsbReportType::output);
    EXPECT_EQ(sent[0].bytes, (Bytes{0, 5, 6, 7, 8}));
    EXPECT_EQ(sent[1].type, UsbReportType::feature);
    EXPECT_EQ(sent[1].bytes, (Bytes{0, 9, 10, 11, 12}));
    EXPECT_EQ(node.getFeature(0, 5).first, -EIO);
    device.setReport(UsbReportType::feature, 0, {0, 13, 14, 15, 16});
    EXPECT_EQ(node.getFeature(0, 5), (std::pair{5, Bytes{0, 13, 14, 15, 16}}));
}

TEST(UhidDevice, ItsUserIsSeen)
{
    UhidDevice device(UhidIdentity{}, plainDescriptor(4));
    const std::string path = device.waitForNode();
    ASSERT_NE(path, "");
    EXPECT_FALSE(device.isOpen());
    {
        HidrawNode node(path);
        EXPECT_TRUE(waitUntil([&] { return device.isOpen(); }));
    }
    EXPECT_TRUE(waitUntil([&] { return !device.isOpen(); }));
}

TEST(UhidDevice, ADescriptorThatTheKernelRefusesMakesNoNode)
{
    UhidDevice device(UhidIdentity{}, Bytes(16, 0xC0));
    EXPECT_EQ(device.waitForNode(std::chrono::milliseconds(300)), "");
    EXPECT_THROW(UhidDevice(UhidIdentity{}, Bytes(4097, 0)), std::system_error);
}

TEST(UhidDevice, TheKernelHas64NodesAndNotOneMore)
{
    std::vector<std::unique_ptr<UhidDevice>> devices;
    std::size_t nodes = 0;
    for (int number = 0; number < 64; ++number) {
        UhidIdentity identity;
        identity.phys = "many/" + std::to_string(number);
        devices.push_back(std::make_unique<UhidDevice>(identity, plainDescriptor(4)));
        nodes += devices.back()->waitForNode().empty() ? 0 : 1;
    }
    EXPECT_EQ(nodes, 64U);
    UhidIdentity identity;
    identity.phys = "one too many";
    UhidDevice last(identity, plainDescriptor(4));
    EXPECT_NE(last.sysfsPath(), "");
    EXPECT_EQ(last.waitForNode(std::chrono::milliseconds(300)), "");
}

TEST(HidGadget, ReportsAndStringsAreThoseOfTheGadget)
{
    UsbIdentity identity;
    identity.product = 0x0003;
    identity.manufacturer = "Ærø 北京";
    identity.productName = "Gadget";
    identity.serial = "0001";
    UsbInterface first;
    first.reportDescriptor = plainDescriptor(8);
    first.maximumPacket = 8;
    UsbInterface second;
    second.reportDescriptor = numberedDescriptor();
    second.hasOutEndpoint = false;
    HidGadget gadget("rig", identity, {first, second});
    gadget.plug();
    const std::vector<std::string> nodes = waitForHidrawNodes(0x1234, 0x0003, 2);
    ASSERT_EQ(nodes.size(), 2U);
    EXPECT_EQ(readAttribute(findUsbDevices(0x1234, 0x0003).front() + "/manufacturer"), identity.manufacturer);
    HidrawNode plain(nodes[0]);
    HidrawNode numbered(nodes[1]);
    EXPECT_EQ(gadget.sendInput(0, pattern(8, 1)), 0);
    EXPECT_EQ(plain.readReport(), pattern(8, 1));
    EXPECT_EQ(plain.write({0, 1, 2, 3, 4, 5, 6, 7, 8}), 9);
    EXPECT_EQ(gadget.readOutput(0), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(gadget.sendInput(1, {2, 20, 21, 22}), 0);
    EXPECT_EQ(numbered.readReport(), (Bytes{2, 20, 21, 22}));
    EXPECT_EQ(numbered.write({2, 7, 8, 9}), 4);
    EXPECT_EQ(gadget.readOutput(1), (Bytes{2, 7, 8, 9}));
    gadget.unplug();
    EXPECT_EQ(plain.read().first, -EIO);
    EXPECT_TRUE(waitUntilGone(0x1234, 0x0003));
}

TEST(QemuDevices, TheKeyboardTypes)
{
    QemuDevices qemu;
    qemu.plug("usb-kbd", "keyboard", "1");
    const std::vector<std::string> nodes = waitForHidrawNodes(kQemuVendor, kQemuProduct, 1);
    ASSERT_EQ(nodes.size(), 1U);
    {
        HidrawNode node(nodes.front());
        qemu.typeKey("a");
        EXPECT_EQ(node.readReport(), (Bytes{0, 0, 4, 0, 0, 0, 0, 0}));
        EXPECT_EQ(node.readReport(), Bytes(8));
        EXPECT_EQ(node.write({0, 2}), 2) << "the Caps Lock light";
    }
    qemu.pull("keyboard");
    EXPECT_TRUE(waitUntilGone(kQemuVendor, kQemuProduct));
}

TEST(QemuDevices, TheMouseAndTheTabletMove)
{
    QemuDevices qemu;
    qemu.plug("usb-mouse", "mouse", "1");
    std::vector<std::string> nodes = waitForHidrawNodes(kQemuVendor, kQemuProduct, 1);
    ASSERT_EQ(nodes.size(), 1U);
    {
        HidrawNode node(nodes.front());
        qemu.moveMouse(5, -3);
        EXPECT_EQ(node.readReport(), (Bytes{0, 5, 0xFD, 0}));
    }
    qemu.pull("mouse");
    ASSERT_TRUE(waitUntilGone(kQemuVendor, kQemuProduct));
    qemu.plug("usb-tablet", "tablet", "2");
    nodes = waitForHidrawNodes(kQemuVendor, kQemuProduct, 1);
    ASSERT_EQ(nodes.size(), 1U);
    HidrawNode node(nodes.front());
    qemu.moveTablet(0x1234, 0x0567);
    EXPECT_EQ(node.readReport(), (Bytes{0, 0x34, 0x12, 0x67, 0x05, 0}));
    qemu.pull("tablet");
    EXPECT_TRUE(waitUntilGone(kQemuVendor, kQemuProduct));
}

TEST(QemuDevices, AHubTakesAlongWhatIsBehindIt)
{
    QemuDevices qemu;
    qemu.plug("usb-hub", "hub", "1");
    qemu.plug("usb-mouse", "mouse", "1.2");
    ASSERT_EQ(waitForHidrawNodes(kQemuVendor, kQemuProduct, 1).size(), 1U);
    const std::string path = findUsbDevices(kQemuVendor, kQemuProduct).front();
    EXPECT_TRUE(path.ends_with("-1.2")) << path;
    qemu.pull("hub");
    EXPECT_TRUE(waitUntilGone(kQemuVendor, kQemuProduct));
}

TEST(QemuDevices, WhatQemuRefusesIsThrown)
{
    QemuDevices qemu;
    EXPECT_THROW(qemu.plug("no-such-device", "x", "1"), std::runtime_error);
}
