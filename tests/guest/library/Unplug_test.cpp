/// The plug is pulled in the middle of something.

#include "Library.h"

#include <algorithm>
#include <thread>

using namespace qrx::guest;

namespace {

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

TEST_F(Unplug, InsideHandleReport)
{
    open();
    sendQueued(plug, 0, pattern(8, 1));
    sendQueued(plug, 0, pattern(8, 2));
    log->onInput = [this] { pullWhole(plug); };
    ASSERT_TRUE(runUntilRemoved());
    EXPECT_EQ(log->input.size(), 2U) << "the second was queued";
    device->close();
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
