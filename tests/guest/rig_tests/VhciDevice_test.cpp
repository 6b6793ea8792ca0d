/// Our own USB device, seen from the kernel's side without any library between.

#include "rig_tests/Descriptors.h"
#include "support/HidrawNode.h"
#include "support/LateNodes.h"
#include "vhci/VhciDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>

using namespace qrx::guest;
using testing::ElementsAre;

namespace {

UsbInterface hidInterface(Bytes descriptor)
{
    UsbInterface interface;
    interface.reportDescriptor = std::move(descriptor);
    return interface;
}

/// A device with one HID interface, plugged, and its node open.
class OneInterface : public testing::Test {
protected:
    void plug(Bytes descriptor, bool hasOutEndpoint = true, std::uint16_t maximumPacket = 64)
    {
        UsbInterface interface = hidInterface(std::move(descriptor));
        interface.hasOutEndpoint = hasOutEndpoint;
        interface.maximumPacket = maximumPacket;
        device.emplace(UsbIdentity{}, std::vector{interface});
        device->plug();
        const std::vector<std::string> nodes = device->waitForNodes();
        ASSERT_EQ(nodes.size(), 1U);
        node.emplace(nodes.front());
    }

    std::optional<VhciDevice> device;
    std::optional<HidrawNode> node;
};

Bytes numbered(std::uint32_t number, std::size_t length)
{
    Bytes bytes(length);
    std::memcpy(bytes.data(), &number, sizeof number);
    return bytes;
}

} // namespace

TEST(VhciDevice, ACompositeDeviceHasANodeForEachHidInterface)
{
    UsbInterface vendor;
    vendor.isHid = false;
    VhciDevice device(UsbIdentity{}, {hidInterface(plainDescriptor(8)), vendor, hidInterface(numberedDescriptor()),
                                      hidInterface(plainDescriptor(64))});
    device.plug();
    const std::vector<std::string> nodes = device.waitForNodes();
    ASSERT_EQ(nodes.size(), 3U);
    EXPECT_EQ(HidrawNode(nodes[0]).reportDescriptor(), plainDescriptor(8));
    EXPECT_EQ(HidrawNode(nodes[1]).reportDescriptor(), numberedDescriptor());
    EXPECT_EQ(HidrawNode(nodes[2]).reportDescriptor(), plainDescriptor(64));
    const std::string path = device.sysfsPath();
    const std::string name = path.substr(path.rfind('/') + 1);
    EXPECT_EQ(readAttribute(path + "/" + name + ":1.1/bInterfaceClass"), "ff");
    EXPECT_EQ(readAttribute(path + "/" + name + ":1.2/bInterfaceClass"), "03");
}

TEST(VhciDevice, TheKernelShowsTheStringsByteForByte)
{
    UsbIdentity identity;
    identity.manufacturer = "Prøve \xF0\x9F\x8E\xB9 北京";
    identity.productName = std::string(126, 'x');
    identity.serial = "";
    UsbInterface interface = hidInterface(plainDescriptor(8));
    interface.name = "Grenseflate é";
    VhciDevice device(identity, {interface});
    device.plug();
    ASSERT_EQ(device.waitForNodes().size(), 1U);
    const std::string path = device.sysfsPath();
    EXPECT_EQ(readAttribute(path + "/manufacturer"), identity.manufacturer);
    EXPECT_EQ(readAttribute(path + "/product"), identity.productName);
    EXPECT_EQ(readAttribute(path + "/serial"), std::nullopt) << "the kernel takes a string without text for none";
    EXPECT_EQ(readAttribute(path + path.substr(path.rfind('/')) + ":1.0/interface"), interface.name);
    EXPECT_EQ(readAttribute(path + "/speed"), "480");
}

TEST(VhciDevice, TheSpeedIsTheOneAskedFor)
{
    for (const auto& [speed, text] : std::map<UsbSpeed, std::string>{{UsbSpeed::low, "1.5"}, {UsbSpeed::full, "12"}}) {
        UsbIdentity identity;
        identity.speed = speed;
        UsbInterface interface = hidInterface(plainDescriptor(8));
        interface.maximumPacket = 8;
        VhciDevice device(identity, {interface});
        device.plug();
        ASSERT_EQ(device.waitForNodes().size(), 1U) << text;
        EXPECT_EQ(readAttribute(device.sysfsPath() + "/speed"), text);
    }
}

TEST_F(OneInterface, InputOfEveryLengthArrivesWhole)
{
    for (const std::uint16_t length : std::initializer_list<std::uint16_t>{1, 8, 63, 64, 65, 1024}) {
        plug(plainDescriptor(length), true, 1024);
        const Bytes report = pattern(length, static_cast<std::uint8_t>(length));
        device->sendInput(0, report);
        EXPECT_EQ(node->readReport(), report) << length << " bytes";
        node.reset();
    }
}

TEST_F(OneInterface, NumberedInputCarriesItsNumber)
{
    plug(numberedDescriptor());
    const Bytes first{1, 10, 11, 12, 13, 14, 15, 16, 17};
    const Bytes second{2, 20, 21, 22};
    device->sendInput(0, first);
    device->sendInput(0, second);
    EXPECT_EQ(node->readReport(), first);
    EXPECT_EQ(node->readReport(), second);
}

TEST_F(OneInterface, OutputGoesThroughTheInterruptEndpoint)
{
    plug(plainDescriptor(8));
    Bytes report = pattern(9, 40);
    report[0] = 0;
    EXPECT_EQ(node->write(report), 9);
    const std::vector<SentReport> sent = device->waitForSentReports(1);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_FALSE(sent[0].byControlRequest);
    EXPECT_EQ(sent[0].bytes, Bytes(report.begin() + 1, report.end()));
}

TEST_F(OneInterface, OutputWithoutAnEndpointIsAControlRequest)
{
    plug(numberedDescriptor(), false);
    const Bytes report{2, 7, 8, 9};
    EXPECT_EQ(node->write(report), 4);
    const std::vector<SentReport> sent = device->waitForSentReports(1);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_TRUE(sent[0].byControlRequest);
    EXPECT_EQ(sent[0].type, UsbReportType::output);
    EXPECT_EQ(sent[0].reportID, 2);
    EXPECT_EQ(sent[0].bytes, report);
}

TEST_F(OneInterface, FeatureReportsGoBothWays)
{
    plug(numberedDescriptor());
    const Bytes report{1, 1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(node->setFeature(report), 9);
    const std::vector<SentReport> sent = device->waitForSentReports(1);
    ASSERT_EQ(sent.size(), 1U);
    EXPECT_EQ(sent[0].type, UsbReportType::feature);
    EXPECT_EQ(sent[0].bytes, report);
    EXPECT_EQ(node->getFeature(1, 9), (std::pair{9, report})) << "what was set is what is got";
    device->setReport(0, UsbReportType::feature, 2, {2, 99, 98, 97});
    EXPECT_EQ(node->getFeature(2, 4), (std::pair{4, Bytes{2, 99, 98, 97}}));
}

TEST_F(OneInterface, GetReportAnswersForEveryType)
{
    plug(plainDescriptor(3));
    device->setReport(0, UsbReportType::input, 0, {1, 2, 3});
    device->setReport(0, UsbReportType::output, 0, {4, 5, 6});
    EXPECT_EQ(node->getInput(0, 4), (std::pair{4, Bytes{0, 1, 2, 3}}));
    EXPECT_EQ(node->getOutput(0, 4), (std::pair{4, Bytes{0, 4, 5, 6}}));
}

TEST_F(OneInterface, AStallIsABrokenPipe)
{
    plug(plainDescriptor(8));
    device->answerSetReport(0, Answer::stall);
    device->answerGetReport(0, Answer::stall);
    device->answerOutput(0, Answer::stall);
    const Bytes report(9);
    EXPECT_EQ(node->setFeature(report), -EPIPE);
    EXPECT_EQ(node->getFeature(0, 9).first, -EPIPE);
    EXPECT_EQ(node->write(report), -EPIPE);
    EXPECT_TRUE(device->takeSentReports().empty());
}

TEST_F(OneInterface, SilenceEndsInATimeoutAndTheDeviceStillWorks)
{
    plug(plainDescriptor(8));
    device->answerGetReport(0, Answer::silence);
    EXPECT_EQ(node->getFeature(0, 9).first, -ETIMEDOUT);
    device->answerGetReport(0, Answer::normal);
    device->setReport(0, UsbReportType::feature, 0, pattern(8, 3));
    EXPECT_EQ(node->getFeature(0, 9).first, 9);
}

TEST_F(OneInterface, AFloodComesInOrder)
{
    plug(plainDescriptor(64));
    constexpr std::uint32_t kReports = 500;
    // In portions that the kernel's ring of 63 surely holds.
    for (std::uint32_t start = 0; start < kReports; start += 50) {
        device->flood(0, [start](std::uint64_t index) -> std::optional<Bytes> {
            return index < 50 ? std::optional(numbered(start + static_cast<std::uint32_t>(index), 64)) : std::nullopt;
        });
        for (std::uint32_t number = start; number < start + 50; ++number)
            ASSERT_EQ(node->readReport(), numbered(number, 64)) << "report " << number;
    }
}

TEST_F(OneInterface, ThreeReportsThatFitNobodysRingAreLost)
{
    plug(plainDescriptor(8));
    for (std::uint32_t number = 0; number < 66; ++number)
        device->sendInput(0, numbered(number, 8));
    ASSERT_TRUE(device->waitUntilTaken(0));
    std::uint32_t count = 0;
    for (std::pair<int, Bytes> next = node->read({}); next.first > 0; next = node->read({}))
        EXPECT_EQ(next.second, numbered(count++, 8)) << "the newest are lost, never the oldest";
    EXPECT_EQ(count, 63U);
}

TEST_F(OneInterface, AfterThePlugIsPulledTheQueuedReportsComeAndThenAnError)
{
    plug(plainDescriptor(8));
    for (std::uint32_t number = 0; number < 5; ++number)
        device->sendInput(0, numbered(number, 8));
    ASSERT_TRUE(device->waitUntilTaken(0));
    device->unplug();
    ASSERT_TRUE(waitUntilGone(0x1234, 0x0001));
    for (std::uint32_t number = 0; number < 5; ++number)
        EXPECT_EQ(node->readReport(), numbered(number, 8));
    EXPECT_EQ(node->read().first, -EIO);
    EXPECT_EQ(node->write(Bytes(9)), -ENODEV);
}

TEST_F(OneInterface, TheSameObjectCanBePluggedAgain)
{
    plug(plainDescriptor(8));
    const int port = device->port();
    node.reset();
    device->unplug();
    ASSERT_TRUE(waitUntilGone(0x1234, 0x0001));
    device->plug(port);
    EXPECT_EQ(device->port(), port);
    const std::vector<std::string> nodes = device->waitForNodes();
    ASSERT_EQ(nodes.size(), 1U);
    HidrawNode again(nodes.front());
    device->sendInput(0, pattern(8, 1));
    EXPECT_EQ(again.readReport(), pattern(8, 1));
}

TEST(VhciDevice, ADeviceWhoseDescriptorCannotBeHadHasNoNode)
{
    // Refused, empty, longer than the kernel takes, not a descriptor: each beside a good interface.
    UsbInterface tooLong = hidInterface(plainDescriptor(8));
    tooLong.announcedDescriptorLength = 4097;
    VhciDevice device(UsbIdentity{}, {hidInterface(plainDescriptor(8)), hidInterface({}), tooLong,
                                      hidInterface(Bytes(64, 0xC0)), hidInterface(plainDescriptor(8))});
    device.answerReportDescriptor(0, Answer::stall);
    device.plug();
    ASSERT_TRUE(
        waitUntil([&] { return !device.sysfsPath().empty() && hidrawNodesOf(device.sysfsPath()).size() == 1; }));
    EXPECT_EQ(HidrawNode(hidrawNodesOf(device.sysfsPath()).front()).reportDescriptor(), plainDescriptor(8));
}

TEST(VhciDevice, ItsNodesAreWaitedForUntilTheyCanBeOpened)
{
    VhciDevice device(UsbIdentity{}, {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(4))});
    const LateNodes late;
    device.plug();
    const std::vector<std::string> nodes = device.waitForNodes();
    ASSERT_EQ(nodes.size(), 2U);
    for (const std::string& path : nodes)
        EXPECT_EQ(::access(path.c_str(), R_OK | W_OK), 0) << path;
}

TEST(VhciDevice, PullingThePlugDuringEnumerationLeavesNothingBehind)
{
    VhciDevice device(UsbIdentity{}, {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(8))});
    for (int round = 0; round < 3; ++round) {
        device.takeControlRequests();
        device.plug();
        // Enumeration takes eight control requests at the least; each round ends some later.
        const std::size_t reached = static_cast<std::size_t>(round) * 3;
        std::size_t requests = 0;
        EXPECT_TRUE(waitUntil([&] { return (requests += device.takeControlRequests().size()) >= reached; })) << round;
        device.unplug();
        EXPECT_TRUE(waitUntilGone(0x1234, 0x0001)) << round;
    }
}

TEST(VhciDevice, EnumerationAsksForNoReport)
{
    VhciDevice device(UsbIdentity{}, {hidInterface(numberedDescriptor())});
    device.plug();
    ASSERT_EQ(device.waitForNodes().size(), 1U);
    const std::vector<SetupPacket> requests = device.takeControlRequests();
    EXPECT_GT(requests.size(), 4U);
    for (const SetupPacket& request : requests)
        EXPECT_FALSE(request.requestType == 0xA1 && request.request == 1) << "GET_REPORT " << request.value;
}

TEST(VhciDevice, EightDevicesComeAndGo)
{
    std::vector<std::unique_ptr<VhciDevice>> devices;
    for (std::uint16_t number = 0; number < 8; ++number) {
        UsbIdentity identity;
        identity.product = static_cast<std::uint16_t>(0x0100 + number);
        devices.push_back(std::make_unique<VhciDevice>(
            identity, std::vector{hidInterface(plainDescriptor(8)), hidInterface(numberedDescriptor())}));
        devices.back()->plug();
    }
    for (const auto& device : devices)
        EXPECT_EQ(device->waitForNodes().size(), 2U) << "port " << device->port();
    devices.clear();
    for (std::uint16_t number = 0; number < 8; ++number)
        EXPECT_TRUE(waitUntilGone(0x1234, static_cast<std::uint16_t>(0x0100 + number)));
}
