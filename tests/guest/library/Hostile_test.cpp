/// Devices that are broken or mean ill, beside one that must be served all the same.

#include "Library.h"

#include <algorithm>

using namespace qrx::guest;

namespace {

constexpr unsigned int kInput = 0;
constexpr unsigned int kOutput = 1;
constexpr unsigned int kFeature = 2;
/// The kernel refuses longer report descriptors.
constexpr std::size_t kLongestDescriptor = 4096;

class Hostile : public Library {
protected:
    void SetUp() override
    {
        goodDevice = arrive(tree, good);
        ASSERT_TRUE(goodDevice);
        goodLog = openWithLog(goodDevice);
        told.arrivals.clear();
    }
    void TearDown() override
    {
        expectGoodIsServed();
        goodDevice->close();
    }

    /// Input arrives and output goes out.
    void expectGoodIsServed()
    {
        goodLog->input.clear();
        sendQueued(good, 0, pattern(8, ++seed));
        EXPECT_TRUE(runUntil([this] { return !goodLog->input.empty(); }));
        EXPECT_EQ(goodLog->input, (std::vector<ReceivedReport>{{pattern(8, seed), 0}}));
        goodDevice->setReport(kOutput, 0, std::valarray<std::uint8_t>(seed, 8), 0);
        EXPECT_EQ(good.takeSentReports().size(), 1U);
    }
    static void setEveryReport(const DeviceHandle& device, int interfaces)
    {
        for (int interface = 0; interface < interfaces; ++interface) {
            for (const unsigned int type : {kInput, kOutput, kFeature, 3U}) {
                device->setReport(type, 0, std::valarray<std::uint8_t>(8), interface);
                device->setReport(type, 1, {1, 2, 3}, interface);
                device->setReport(type, 0, {}, interface);
            }
        }
    }
    bool runUntilOnlyGoodIsLeft()
    {
        return runUntil([this] { return tree->getHIDDeviceCount() == 1; });
    }

    TreeHandle tree = observingTree();
    VhciDevice good{identityOf("good", 99), {hidInterface(plainDescriptor(8))}};
    DeviceHandle goodDevice;
    std::shared_ptr<RecordingDeviceDelegate::Log> goodLog;
    std::uint8_t seed = 0;
};

/// Says the same again and again before it ends.
Bytes longDescriptor(std::size_t size)
{
    const Bytes end = plainDescriptor(8);
    Bytes bytes;
    while (bytes.size() + end.size() < size) {
        bytes.insert(bytes.end(), {0x15, 0x00}); // Logical Minimum (0)
    }
    bytes.insert(bytes.end(), end.begin(), end.end());
    return bytes;
}

Bytes deepDescriptor()
{
    Bytes bytes;
    for (int depth = 0; depth < 500; ++depth) {
        bytes.insert(bytes.end(), {0x09, 0x01, 0xA1, 0x01});
    }
    return bytes;
}

UsbInterface announcing(Bytes descriptor, std::uint16_t length)
{
    UsbInterface interface = hidInterface(std::move(descriptor));
    interface.announcedDescriptorLength = length;
    return interface;
}

} // namespace

TEST_F(Hostile, ReportDescriptorsThatAreNoneCostTheirOwnInterfaceAlone)
{
    Bytes truncated = plainDescriptor(8);
    truncated.resize(truncated.size() - 3);
    const std::vector<UsbInterface> interfaces = {
        hidInterface(plainDescriptor(8)),
        hidInterface({}),
        hidInterface(pattern(200, 77)),
        hidInterface(truncated),
        hidInterface(longDescriptor(kLongestDescriptor + 900)),
        announcing(plainDescriptor(8), 60000),
        announcing(plainDescriptor(8), 4096), // the kernel makes up the rest of zeros
        hidInterface(deepDescriptor()),
        hidInterface(longDescriptor(kLongestDescriptor)),
    };
    VhciDevice plug(identityOf("hostile"), interfaces);
    plug.plug();
    ASSERT_TRUE(waitUntil([&] { return isFinished(plug); }));
    ASSERT_TRUE(runUntil([this] { return !told.arrivals.empty(); }));
    EXPECT_EQ(told.arrivals, Names{"hostile"});
    const DeviceHandle device = tree->getDeviceAtIndex(1);
    std::vector<std::size_t> sizes;
    for (int number = 0; number < static_cast<int>(interfaces.size()); ++number) {
        sizes.push_back(device->getInputReportSize(number));
    }
    EXPECT_EQ(sizes, (std::vector<std::size_t>{8, 0, 0, 0, 0, 0, 8, 0, 8}));
    const auto log = openWithLog(device);
    setEveryReport(device, static_cast<int>(interfaces.size()));
    sendQueued(plug, 8, pattern(8, 5));
    sendQueued(plug, 0, pattern(8, 6));
    EXPECT_TRUE(runUntil([&] { return log->input.size() == 2; }));
    expectGoodIsServed();
    pullWhole(plug);
    ASSERT_TRUE(runUntilOnlyGoodIsLeft());
    device->close();
}

TEST_F(Hostile, AnyStringIsANameOrNone)
{
    const std::string longest(126, 'x');
    std::string longestAndWide;
    for (int count = 0; count < 126; ++count) {
        longestAndWide += "界";
    }
    const std::string controls = "a\x01\x1b[2J\t\x7f\nb\n";
    const std::string isolated = "a\xED\xA0\x80"
                                 "b\xED\xBF\xBF";
    const std::string cutByZero("a\0b", 3);
    // What the device says, and what an application is told.
    const std::vector<std::pair<std::string, std::string>> strings = {
        {"", ""},         {longest, longest}, {longestAndWide, longestAndWide}, {controls, controls},
        {isolated, "ab"}, {cutByZero, "a"}};
    for (const auto& [said, shown] : strings) {
        UsbIdentity identity = identityOf(said);
        identity.manufacturer = identity.serial = said;
        UsbInterface interface = hidInterface(plainDescriptor(8));
        interface.name = said;
        VhciDevice plug(identity, {interface});
        const DeviceHandle device = arrive(tree, plug);
        ASSERT_TRUE(device) << hex(Bytes(said.begin(), said.end()));
        EXPECT_EQ(device->getProductName(), shown);
        EXPECT_EQ(device->getVendorName(), shown);
        pullWhole(plug);
        ASSERT_TRUE(runUntilOnlyGoodIsLeft());
    }
}

TEST_F(Hostile, ADeviceThatRefusesEverythingIsAskedInVain)
{
    VhciDevice plug(identityOf("hostile"), {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(8))});
    plug.answerOutput(0, Answer::stall);
    for (const std::size_t interface : {0U, 1U}) {
        plug.answerSetReport(interface, Answer::stall);
        plug.answerGetReport(interface, Answer::stall);
    }
    const DeviceHandle device = arrive(tree, plug);
    ASSERT_TRUE(device);
    const auto log = openWithLog(device);
    for (int times = 0; times < 10; ++times) {
        setEveryReport(device, 1);
        expectGoodIsServed();
    }
    EXPECT_TRUE(plug.takeSentReports().empty());
    sendQueued(plug, 0, pattern(8, 1));
    EXPECT_TRUE(runUntil([&] { return log->input.size() == 1; }));
    pullWhole(plug);
    // The node is held open and answers every call with an error from now on.
    setEveryReport(device, 2);
    expectGoodIsServed();
    ASSERT_TRUE(runUntilOnlyGoodIsLeft());
    device->close();
}

TEST_F(Hostile, InputOfAnyLengthIsNoReportOrOneOfTheDeclaredLength)
{
    VhciDevice plug(identityOf("hostile"),
                    {hidInterface(plainDescriptor(8)), hidInterface(qrx::guest::numberedDescriptor())});
    const DeviceHandle device = arrive(tree, plug);
    ASSERT_TRUE(device);
    const auto log = openWithLog(device);
    for (const std::size_t length : {0U, 1U, 7U, 9U, 63U, 64U, 65U, 1000U}) {
        plug.sendInput(0, Bytes(length, 0xEE));
        plug.sendInput(1, Bytes(length, 0xEE)); // a number that nobody declared
    }
    sendQueued(plug, 0, pattern(8, 1));
    sendQueued(plug, 1, {2, 3, 4, 5});
    ASSERT_TRUE(runUntil([&] {
        const auto& input = log->input;
        return std::count(input.begin(), input.end(), ReceivedReport{pattern(8, 1), 0}) == 1 &&
               std::count(input.begin(), input.end(), ReceivedReport{{2, 3, 4, 5}, 1}) == 1;
    }));
    for (const ReceivedReport& report : log->input) {
        EXPECT_EQ(report.bytes.size(), report.interfaceNumber == 0 ? 8U : 4U) << testing::PrintToString(report);
    }
    device->close();
}

TEST_F(Hostile, ADeviceThatLeavesAtAnyMomentOfItsArrivalIsToldOfTwiceOrNever)
{
    const CapturedOutput output;
    VhciDevice plug(identityOf("hostile"), {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(8))});
    std::size_t most = 0;
    for (std::size_t requests = 1; requests <= 24; requests += 1 + requests / 6) {
        plug.takeControlRequests();
        plug.plug();
        std::size_t seen = 0;
        // The whole arrival may take fewer.
        runUntil([&] {
            seen += plug.takeControlRequests().size();
            return seen >= requests || isFinished(plug);
        });
        most = std::max(most, seen);
        pullWhole(plug);
        ASSERT_TRUE(runUntilOnlyGoodIsLeft()) << requests;
    }
    EXPECT_GE(most, 10U) << "the kernel asked a device so much";
    ASSERT_TRUE(waitUntil([] { return findUsbDevices(0x1234, 1).empty(); }));
    runWhileBusy();
    std::string lines;
    for (const std::string& name : told.arrivals) {
        EXPECT_EQ(name, "hostile");
        lines += "device notification: id 2\n";
    }
    EXPECT_EQ(output.text(), lines);
    EXPECT_EQ(tree->getHIDDeviceCount(), 1U);
}
