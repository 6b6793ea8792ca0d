/// Many devices, and several applications.

#include "ChildProcess.h"
#include "Library.h"

#include "devices/UhidDevice.h"

#include <algorithm>
#include <atomic>
#include <future>

using namespace qrx::guest;

namespace {

constexpr std::size_t kReportNodes = 64; // the kernel's limit

using Crowd = Library;

std::unique_ptr<VhciDevice> makeNumbered(std::uint16_t number)
{
    return std::make_unique<VhciDevice>(
        identityOf("device " + std::to_string(number), number),
        std::vector{hidInterface(plainDescriptor(8)), hidInterface(qrx::guest::numberedDescriptor())});
}

/// Uses up the report nodes that are left.
std::vector<std::unique_ptr<UhidDevice>> takeNodes(std::size_t count)
{
    std::vector<std::unique_ptr<UhidDevice>> devices;
    while (devices.size() < count) {
        UhidIdentity identity;
        identity.phys = "filler/" + std::to_string(devices.size());
        devices.push_back(std::make_unique<UhidDevice>(identity, plainDescriptor(4)));
        EXPECT_NE(devices.back()->waitForNode(), "");
    }
    return devices;
}

} // namespace

TEST_F(Crowd, SixteenDevicesComeAtOnceAndOneWithoutANodeForItSaysSo)
{
    const TreeHandle tree = observingTree();
    std::vector<std::unique_ptr<VhciDevice>> devices;
    for (std::uint16_t number = 1; number <= 16; ++number) {
        devices.push_back(makeNumbered(number));
        devices.back()->plug();
    }
    for (const auto& device : devices) {
        ASSERT_TRUE(waitUntil([&] { return isFinished(*device); }));
    }
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() >= 8; }));
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 16; }));
    Names names;
    for (unsigned int index = 0; index < 16; ++index) {
        const DeviceHandle device = tree->getDeviceAtIndex(index);
        names.push_back("device " + std::to_string(device->getProductID()));
        EXPECT_EQ(device->getInputReportSize(0), 8U) << names.back();
        EXPECT_EQ(device->getInputReportSize(1), 9U) << names.back();
    }
    EXPECT_EQ(told.arrivals, names);
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::unique(names.begin(), names.end()), names.end()) << "each is another";

    const auto fillers = takeNodes(kReportNodes - 32);
    VhciDevice last(identityOf("last", 17), {hidInterface(plainDescriptor(8))});
    last.plug();
    ASSERT_TRUE(waitUntil([&] { return isFinished(last); }));
    ASSERT_TRUE(runUntil([&] { return told.arrivals.size() == 17; })) << "after the settle time it comes all the same";
    const DeviceHandle without = tree->getDeviceAtIndex(16);
    EXPECT_EQ(without->getProductName(), "last");
    testing::internal::CaptureStderr();
    without->open();
    const std::string place = last.sysfsPath().substr(last.sysfsPath().rfind('/') + 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDManager: Interface 0 of 1234:0011 \"last\" at " + place +
                  " has no report node: the kernel has 64 of them, and some drivers make none.\n");
    without->close();

    const CapturedOutput output;
    for (const auto& device : devices) {
        device->unplug();
    }
    last.unplug();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() <= 8; }));
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
    EXPECT_EQ(told.arrivals.size(), 17U);
}

TEST_F(Crowd, TwoProcessesHearOneDevice)
{
    VhciDevice plug(identityOf("shared"), {hidInterface(plainDescriptor(2))});
    const TreeHandle tree = observingTree();
    const DeviceHandle device = arrive(tree, plug);
    ASSERT_TRUE(device);
    const auto log = openWithLog(device);
    ChildProcess watch({QRXHID_PROGRAM, "watch", "--device", "1234:0001"});
    ASSERT_TRUE(watch.waitForLines("present")) << watch.output();
    ASSERT_TRUE(waitUntil([&] {
        const std::vector<std::string> files = watch.openFiles();
        return std::any_of(files.begin(), files.end(),
                           [](const std::string& file) { return file.starts_with("/dev/hidraw"); });
    }));
    sendQueued(plug, 0, {0x12, 0x34});
    ASSERT_TRUE(runUntil([&] { return !log->input.empty(); }));
    EXPECT_EQ(log->input.front().bytes, (Bytes{0x12, 0x34}));
    EXPECT_TRUE(watch.waitForLines("report   #1  interface 0: 12 34")) << watch.output();
    device->close();
    sendQueued(plug, 0, {0x56, 0x78});
    EXPECT_TRUE(watch.waitForLines("report   #1  interface 0: 56 78")) << watch.output();
    runWhileBusy();
    EXPECT_EQ(log->input.size(), 1U);
    EXPECT_EQ(watch.end(), 0);
}

TEST_F(Crowd, TwoTreesInTwoThreadsEachTellTheirOwn)
{
    VhciDevice plug(identityOf("shared"), {hidInterface(plainDescriptor(2))});
    struct Told {
        Names arrivals;
        std::vector<ReceivedReport> input;
        bool hasLeft = false;
    };
    std::atomic<int> observing = 0;
    std::atomic<int> open = 0;
    const auto application = [&] {
        Told result;
        RecordingTreeDelegate delegate;
        const TreeHandle tree = QrxDeviceTree::NewInstance();
        tree->setDelegate(&delegate);
        tree->observe(0, 0);
        ++observing;
        runUntil([&] { return !delegate.arrivals.empty(); });
        const DeviceHandle device = tree->getHIDDeviceCount() == 1 ? tree->getDeviceAtIndex(0) : DeviceHandle();
        if (device) {
            const auto log = openWithLog(device);
            ++open;
            result.hasLeft = runUntil([&] { return tree->getHIDDeviceCount() == 0; });
            device->close();
            result.input = log->input;
        }
        result.arrivals = delegate.arrivals;
        return result;
    };
    std::future<Told> first = std::async(std::launch::async, application);
    std::future<Told> second = std::async(std::launch::async, application);
    ASSERT_TRUE(waitUntil([&] { return observing == 2; }));
    plug.plug();
    // The kernel drops what comes before its drivers are done with the device.
    EXPECT_TRUE(waitUntil([&] { return open == 2 && isFinished(plug); }));
    for (std::uint8_t number = 0; open == 2 && number < 20; ++number) {
        sendQueued(plug, 0, {number, 1});
    }
    pullWhole(plug);
    for (Told result : {first.get(), second.get()}) {
        EXPECT_EQ(result.arrivals, Names{"shared"});
        EXPECT_TRUE(result.hasLeft);
        ASSERT_EQ(result.input.size(), 20U);
        for (std::uint8_t number = 0; number < 20; ++number) {
            EXPECT_EQ(result.input[number], (ReceivedReport{{number, 1}, 0}));
        }
    }
}
