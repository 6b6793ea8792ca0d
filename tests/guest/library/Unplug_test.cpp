/// The plug is pulled in the middle of something.

#include "Library.h"

#include "CoreFoundation/SystemVersion.h"

#include <algorithm>
#include <optional>
#include <thread>

using namespace qrx::guest;

namespace {

constexpr unsigned int kOutput = 1;
constexpr unsigned int kFeature = 2;
constexpr std::uint8_t kSetReport = 0x09;

class Unplug : public Library {
protected:
    Unplug() : plug(identityOf("pulled"), {hidInterface(plainDescriptor(8))}) {}

    void open()
    {
        device = arrive(tree, plug);
        ASSERT_TRUE(device);
        log = openWithLog(device);
    }
    bool runUntilRemoved()
    {
        return runUntil([this] { return tree->getHIDDeviceCount() == 0; });
    }

    CapturedOutput output;
    TreeHandle tree = observingTree();
    VhciDevice plug;
    DeviceHandle device;
    std::shared_ptr<RecordingDeviceDelegate::Log> log;
};

/// In both ways in which input travels above the report node.
class UnplugInHandleReport : public Unplug, public testing::WithParamInterface<bool> {
protected:
    UnplugInHandleReport() { qrx::platform::setSystemVersion(GetParam() ? kQueueModeVersion : std::nullopt); }
    ~UnplugInHandleReport() override { qrx::platform::setSystemVersion(std::nullopt); }

private:
    static constexpr std::optional<std::int32_t> kQueueModeVersion = 0x1068;
};

} // namespace

TEST_F(Unplug, WhatWasQueuedIsDeliveredBeforeTheRemoval)
{
    open();
    for (std::uint8_t number = 0; number < 40; ++number) {
        sendQueued(plug, 0, pattern(8, number));
    }
    std::vector<unsigned int> devicesAtReports;
    log->onInput = [&] { devicesAtReports.push_back(tree->getHIDDeviceCount()); };
    pullWhole(plug);
    ASSERT_TRUE(runUntilRemoved());
    ASSERT_EQ(log->input.size(), 40U);
    for (std::uint8_t number = 0; number < 40; ++number) {
        EXPECT_EQ(log->input[number].bytes, pattern(8, number));
    }
    EXPECT_EQ(devicesAtReports, std::vector<unsigned int>(40, 1U)) << "the device was listed at each report";
    device->close();
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

TEST_F(Unplug, ASetReportUnderWayEndsAndTheDeviceLeaves)
{
    open();
    plug.answerSetReport(0, Answer::silence);
    plug.takeControlRequests();
    std::thread puller([this] {
        waitUntil([this] {
            const std::vector<SetupPacket> requests = plug.takeControlRequests();
            return std::any_of(requests.begin(), requests.end(),
                               [](const SetupPacket& one) { return one.request == kSetReport; });
        });
        plug.unplug();
    });
    const auto start = std::chrono::steady_clock::now();
    device->setReport(kFeature, 0, std::valarray<std::uint8_t>(8), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(9));
    puller.join();
    EXPECT_TRUE(runUntilRemoved());
    device->setReport(kFeature, 0, std::valarray<std::uint8_t>(8), 0);
    EXPECT_TRUE(plug.takeSentReports().empty());
    device->close();
}

TEST_F(Unplug, InsideDeviceAdded)
{
    told.onArrival = [this](const DeviceHandle& added) {
        pullWhole(plug);
        added->open();
        added->setReport(kFeature, 0, std::valarray<std::uint8_t>(8), 0);
        added->close();
    };
    plugWhole(plug);
    ASSERT_TRUE(runUntil([this] { return !told.arrivals.empty(); }));
    EXPECT_TRUE(runUntilRemoved());
    EXPECT_EQ(told.arrivals, Names{"pulled"});
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

TEST_F(Unplug, InsideDeviceAddedThatPopulateCalls)
{
    tree.release();
    plugWhole(plug);
    const TreeHandle other = makeTree();
    told.onArrival = [this](const DeviceHandle& added) {
        pullWhole(plug);
        added->open();
        added->close();
    };
    other->populate(0, 0);
    EXPECT_EQ(told.arrivals, Names{"pulled"});
    other->observe(0, 0);
    EXPECT_TRUE(runUntil([&] { return other->getHIDDeviceCount() == 0; }));
    EXPECT_EQ(told.arrivals, Names{"pulled"});
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

TEST_F(Unplug, OfAnotherDeviceInsideDeviceAdded)
{
    VhciDevice other(identityOf("other", 2), {hidInterface(plainDescriptor(8))});
    told.onArrival = [this](const DeviceHandle& added) {
        if (added->getProductName() == "other") {
            pullWhole(plug);
        }
    };
    plugWhole(other);
    plugWhole(plug);
    ASSERT_TRUE(runUntil([this] { return tree->getHIDDeviceCount() == 1; }));
    runWhileBusy();
    ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(tree->getDeviceAtIndex(0)->getProductName(), "other");
    const std::string lines = output.text();
    EXPECT_EQ(lines, told.arrivals.size() == 1 ? "" : "device notification: id 2\n") << "what was told of left again";
    output.forget();
    pullWhole(other);
    ASSERT_TRUE(runUntilRemoved());
}

TEST_P(UnplugInHandleReport, WhatWasQueuedIsDeliveredAndTheDeviceLeaves)
{
    open();
    sendQueued(plug, 0, pattern(8, 1));
    sendQueued(plug, 0, pattern(8, 2));
    log->onInput = [this] { pullWhole(plug); };
    ASSERT_TRUE(runUntilRemoved());
    EXPECT_EQ(log->input.size(), 2U) << "the second was queued";
    device->close();
}

TEST_P(UnplugInHandleReport, AnotherDeviceLeavesAfterItsQueuedReports)
{
    open();
    VhciDevice other(identityOf("other", 2), {hidInterface(plainDescriptor(8))});
    const DeviceHandle otherDevice = arrive(tree, other);
    ASSERT_TRUE(otherDevice);
    const auto otherLog = openWithLog(otherDevice);
    for (std::uint8_t number = 0; number < 5; ++number) {
        sendQueued(other, 0, pattern(8, number));
    }
    sendQueued(plug, 0, pattern(8, 9));
    // Whichever is heard first.
    log->onInput = otherLog->onInput = [&] { pullWhole(other); };
    ASSERT_TRUE(runUntil([this] { return tree->getHIDDeviceCount() == 1; }));
    EXPECT_EQ(tree->getDeviceAtIndex(0)->getProductName(), "pulled");
    EXPECT_EQ(otherLog->input.size(), 5U);
    sendQueued(plug, 0, pattern(8, 10));
    EXPECT_TRUE(runUntil([this] { return log->input.size() == 2; }));
    otherDevice->close();
    device->close();
}

INSTANTIATE_TEST_SUITE_P(Modes, UnplugInHandleReport, testing::Bool(),
                         [](const auto& mode) { return mode.param ? "Queue" : "Interrupt"; });

TEST_F(Unplug, InsideHandleSetReport)
{
    open();
    log->onSent = [this] { pullWhole(plug); };
    device->setReport(kFeature, 0, std::valarray<std::uint8_t>(8), 0);
    EXPECT_EQ(log->sent.size(), 1U);
    EXPECT_TRUE(plug.takeSentReports().empty());
    device->setReport(kOutput, 0, std::valarray<std::uint8_t>(8), 0);
    ASSERT_TRUE(runUntilRemoved());
    device->close();
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

/// The device comes back before anybody has heard that it left.
TEST_F(Unplug, AndPlugInsideHandleReportGivesANewDevice)
{
    open();
    sendQueued(plug, 0, pattern(8, 1));
    log->onInput = [this] {
        log->onInput = nullptr;
        pullWhole(plug);
        plugWhole(plug);
    };
    ASSERT_TRUE(runUntil([this] { return told.arrivals.size() == 2; }));
    runWhileBusy();
    ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_FALSE(*tree->getDeviceAtIndex(0) == *device);
    device->close();
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

TEST_F(Unplug, BeforeTheSettleTimeHasPassedWasNeverThere)
{
    const auto makeHalf = [](const std::string& name, std::uint16_t number) {
        auto half = std::make_unique<VhciDevice>(
            identityOf(name, number), std::vector{hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(4))});
        half->answerReportDescriptor(1, Answer::stall);
        half->plug();
        EXPECT_TRUE(waitUntil([&] { return isFinished(*half); }));
        return half;
    };
    const std::unique_ptr<VhciDevice> leaving = makeHalf("leaving", 1);
    runWhileBusy(); // its time begins
    EXPECT_EQ(told.arrivals, Names{});
    pullWhole(*leaving);
    runWhileBusy();
    // When the time of this one has passed, that of the other has long.
    const std::unique_ptr<VhciDevice> staying = makeHalf("staying", 2);
    ASSERT_TRUE(runUntil([this] { return !told.arrivals.empty(); }));
    runWhileBusy();
    EXPECT_EQ(told.arrivals, Names{"staying"});
    EXPECT_EQ(output.text(), "");
    pullWhole(*staying);
    ASSERT_TRUE(runUntilRemoved());
}

TEST_F(Unplug, BetweenArrivalAndOpen)
{
    device = arrive(tree, plug);
    ASSERT_TRUE(device);
    pullWhole(plug);
    log = openWithLog(device);
    device->setReport(kFeature, 0, std::valarray<std::uint8_t>(8), 0);
    EXPECT_TRUE(runUntilRemoved());
    EXPECT_TRUE(log->input.empty());
    device->close();
    EXPECT_EQ(output.text(), "device notification: id 2\n");
}

TEST_F(Unplug, AnotherDeviceInTheSamePortIsNotTakenForTheOldOne)
{
    open();
    const int port = plug.port();
    pullWhole(plug);
    VhciDevice other(identityOf("other", 2), {hidInterface(plainDescriptor(8))});
    other.plug(port);
    plugWhole(other);
    // The old one does not know yet that it has left.
    device->setReport(kFeature, 0, std::valarray<std::uint8_t>(8), 0);
    EXPECT_TRUE(other.takeSentReports().empty());
    ASSERT_TRUE(runUntil([this] { return told.arrivals.size() == 2; }));
    EXPECT_EQ(told.arrivals, (Names{"pulled", "other"}));
    ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(tree->getDeviceAtIndex(0)->getProductName(), "other");
    device->close();
}
