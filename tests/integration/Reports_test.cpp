#include "LibraryTest.h"

#include <QrxHIDReport.h>

namespace {

using Reports = std::vector<ReceivedReport>;

/// Runs each case in both input modes; they must deliver the same bytes.
class Reports_test : public LibraryTest, public testing::WithParamInterface<bool> {
protected:
    Reports_test() { setQueueMode(GetParam()); }

    DeviceHandle arrived(TestDevice& device)
    {
        device.plug();
        _tree = populatedTree();
        return _tree->getDeviceAtIndex(0);
    }

    TreeHandle _tree;
};

INSTANTIATE_TEST_SUITE_P(Modes, Reports_test, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "queue" : "interrupt"; });

TEST_P(Reports_test, InputReachesTheDelegateAsItCame)
{
    TestDevice device = makeDevice("plain", plainDescriptor());
    const auto log = openWithLog(arrived(device));
    ASSERT_TRUE(device.sendInputReport(0, {1, 2, 3, 4}));
    ASSERT_TRUE(device.sendInputReport(0, {1, 2, 3, 4})) << "the same again is a report of its own";
    ASSERT_TRUE(device.sendInputReport(0, {0xff, 0x80, 0, 0xfe}));
    ASSERT_TRUE(runUntil([&] { return log->input.size() == 3; }));
    EXPECT_EQ((Reports{{{1, 2, 3, 4}, 0}, {{1, 2, 3, 4}, 0}, {{0xff, 0x80, 0, 0xfe}, 0}}), log->input);
}

TEST_P(Reports_test, ANumberedReportBeginsWithItsNumber)
{
    TestDevice device = makeDevice("numbered", numberedDescriptor());
    const auto log = openWithLog(arrived(device));
    device.sendInputReport(0, {1, 10, 11});
    device.sendInputReport(0, {2, 1, 2, 3, 4, 5, 6, 7, 8});
    ASSERT_TRUE(runUntil([&] { return log->input.size() == 2; }));
    EXPECT_EQ((Reports{{{1, 10, 11}, 0}, {{2, 1, 2, 3, 4, 5, 6, 7, 8}, 0}}), log->input);
}

TEST_P(Reports_test, EveryLengthArrivesWhole)
{
    for (const std::size_t length : std::initializer_list<std::size_t>{1, 2, 3, 4, 5, 8, 63, 64, 65, 1024, 4096}) {
        TestDevice device = makeDevice("long", vendorDescriptor(length));
        const auto log = openWithLog(arrived(device));
        Bytes report(length);
        for (std::size_t i = 0; i < length; ++i) {
            report[i] = static_cast<std::uint8_t>(0x80 + i);
        }
        device.sendInputReport(0, report);
        ASSERT_TRUE(runUntil([&] { return !log->input.empty(); })) << length << " bytes";
        EXPECT_EQ(report, log->input[0].bytes) << length << " bytes";
    }
}

TEST_P(Reports_test, EachInterfaceOfACompositeDeviceNamesItself)
{
    TestDevice device = makeDevice("composite", plainDescriptor(), {3, 7});
    const auto log = openWithLog(arrived(device));
    device.sendInputReport(7, {7, 7, 7, 7});
    device.sendInputReport(3, {3, 3, 3, 3});
    ASSERT_TRUE(runUntil([&] { return log->input.size() == 2; }));
    EXPECT_NE(log->input[0].interfaceNumber, log->input[1].interfaceNumber);
    for (const ReceivedReport& report : log->input) {
        EXPECT_EQ(report.interfaceNumber, report.bytes[0]);
    }
}

TEST_P(Reports_test, AFullQueueOfReportsIsDeliveredInOrder)
{
    TestDevice device = makeDevice("flood", plainDescriptor());
    const auto log = openWithLog(arrived(device));
    Reports expected;
    for (std::uint8_t i = 0; i < TestDevice::kQueuedReports; ++i) {
        expected.push_back({{i, 1, 2, 3}, 0});
        ASSERT_TRUE(device.sendInputReport(0, expected.back().bytes));
    }
    ASSERT_TRUE(runUntil([&] { return log->input.size() == expected.size(); }));
    EXPECT_EQ(expected, log->input);
}

TEST_P(Reports_test, AClosedDeviceDeliversNothingAndAReopenedOneAgain)
{
    TestDevice device = makeDevice("plain", plainDescriptor());
    const DeviceHandle handle = arrived(device);
    const auto log = openWithLog(handle);
    device.sendInputReport(0, {1, 0, 0, 0});
    handle->close();
    EXPECT_FALSE(device.isOpen(0));
    EXPECT_FALSE(device.sendInputReport(0, {2, 0, 0, 0}));
    runWhileBusy();
    EXPECT_EQ(Reports{}, log->input);
    handle->close();
    handle->open();
    EXPECT_TRUE(device.sendInputReport(0, {3, 0, 0, 0}));
    ASSERT_TRUE(runUntil([&] { return !log->input.empty(); }));
    EXPECT_EQ((Reports{{{3, 0, 0, 0}, 0}}), log->input);
}

TEST_P(Reports_test, WhatWaitsAtTheUnplugIsDeliveredBeforeTheRemovalIsTold)
{
    TestDevice device = makeDevice("plain", plainDescriptor());
    const DeviceHandle handle = arrived(device);
    _tree->observe(0, 0);
    const auto log = openWithLog(handle);
    for (std::uint8_t i = 0; i < 20; ++i) {
        device.sendInputReport(0, {i, 0, 0, 0});
    }
    device.unplug();
    const CapturedOutput output;
    std::size_t deliveredAtRemoval = 0;
    ASSERT_TRUE(runUntil([&] {
        deliveredAtRemoval = log->input.size();
        return _tree->getHIDDeviceCount() == 0;
    }));
    EXPECT_EQ(20u, deliveredAtRemoval);
    runWhileBusy();
    EXPECT_EQ(20u, log->input.size());
    EXPECT_EQ("device notification: id 2\n", output.text());
    EXPECT_EQ(QrxRunLoop::Outcome::timedOut, QrxRunLoop::getCurrent().runOnce(0.01)) << "a dead device does not spin";
}

TEST_P(Reports_test, TheRemovalWaitsForTheReportsHoweverManyInterfacesHaveThem)
{
    // The port has something to tell before any report waits, so its turn comes first.
    TestDevice other = makeDevice("other", plainDescriptor());
    TestDevice device = makeDevice("composite", plainDescriptor(), {0, 1, 2});
    const DeviceHandle handle = arrived(device);
    _tree->observe(0, 0);
    const auto log = openWithLog(handle);
    other.plug();
    for (std::uint8_t i = 0; i < TestDevice::kQueuedReports; ++i) {
        for (const int interfaceNumber : {0, 1, 2}) {
            ASSERT_TRUE(device.sendInputReport(interfaceNumber, {i, 0, 0, 0}));
        }
    }
    device.unplug();
    const CapturedOutput output;
    std::size_t lateReports = 0;
    log->onInput = [&] { lateReports += output.text().empty() ? 0 : 1; };
    ASSERT_TRUE(runUntil([&] { return !output.text().empty(); }));
    runWhileBusy();
    EXPECT_EQ(3 * TestDevice::kQueuedReports, log->input.size());
    EXPECT_EQ(0u, lateReports) << "delivered after the removal was told";
}

TEST_P(Reports_test, OutputAndFeatureReportsReachTheDeviceAfterTheDelegate)
{
    TestDevice device = makeDevice("numbered", numberedDescriptor(), {0, 1});
    const DeviceHandle handle = arrived(device);
    const auto log = openWithLog(handle);
    handle->setReport(1, 3, {3, 1, 2, 3}, 1);
    handle->setReport(2, 4, {4, 1, 2, 3, 4, 5}, 0);
    handle->setReport(1, 3, {3, 9}, 5);
    EXPECT_EQ((Reports{{{3, 1, 2, 3}, 1}, {{4, 1, 2, 3, 4, 5}, 0}, {{3, 9}, 5}}), log->sent);
    const std::vector<QrxSentReport> sent = device.takeSentReports();
    ASSERT_EQ(2u, sent.size()) << "there is no interface 5";
    EXPECT_EQ(1, sent[0].getInterfaceNumber());
    EXPECT_EQ(1u, sent[0].getReportType());
    EXPECT_EQ(3u, sent[0].getReportID());
    EXPECT_EQ((Bytes{3, 1, 2, 3}), sent[0].getBytes());
    EXPECT_EQ(2u, sent[1].getReportType());
}

TEST_P(Reports_test, TwoTreesWithOneDeviceOpenBothGetItsInput)
{
    TestDevice device = makeDevice("plain", plainDescriptor());
    const auto log = openWithLog(arrived(device));
    const TreeHandle secondTree = populatedTree();
    const auto secondLog = openWithLog(secondTree->getDeviceAtIndex(0));
    device.sendInputReport(0, {1, 2, 3, 4});
    ASSERT_TRUE(runUntil([&] { return log->input.size() + secondLog->input.size() == 2; }));
    EXPECT_EQ(log->input, secondLog->input);
}

TEST_P(Reports_test, ABusyDeviceDoesNotStarveAnother)
{
    TestDevice busy = makeDevice("busy", plainDescriptor());
    TestDevice calm = makeDevice("calm", plainDescriptor());
    busy.plug();
    calm.plug();
    const TreeHandle tree = populatedTree();
    const auto busyLog = openWithLog(tree->getDeviceAtIndex(0));
    const auto calmLog = openWithLog(tree->getDeviceAtIndex(1));
    busyLog->onInput = [&] { busy.sendInputReport(0, {1, 1, 1, 1}); };
    busy.sendInputReport(0, {1, 1, 1, 1});
    calm.sendInputReport(0, {2, 2, 2, 2});
    ASSERT_TRUE(runUntil([&] { return !calmLog->input.empty(); }));
    busyLog->onInput = {};
    EXPECT_LT(busyLog->input.size(), 1000u) << "before the other's turn came";
}

class OddLengths : public LibraryTest {};

TEST_F(OddLengths, InInterruptModeALongReportIsCutToTheLargestAndAShortOneComesAsItIs)
{
    TestDevice device = makeDevice("plain", plainDescriptor());
    device.plug();
    const TreeHandle tree = populatedTree();
    const auto log = openWithLog(tree->getDeviceAtIndex(0));
    device.sendInputReport(0, {1, 2, 3, 4, 5, 6});
    device.sendInputReport(0, {1, 2});
    device.sendInputReport(0, {});
    ASSERT_TRUE(runUntil([&] { return log->input.size() == 3; }));
    EXPECT_EQ((Reports{{{1, 2, 3, 4}, 0}, {{1, 2}, 0}, {{}, 0}}), log->input);
}

TEST_F(OddLengths, InQueueModeALongReportIsCutToItsDeclaredLengthAndAShortOneIsDropped)
{
    setQueueMode(true);
    TestDevice device = makeDevice("numbered", numberedDescriptor());
    device.plug();
    const TreeHandle tree = populatedTree();
    const auto log = openWithLog(tree->getDeviceAtIndex(0));
    device.sendInputReport(0, {1, 2, 3, 4, 5, 6});
    device.sendInputReport(0, {1, 2});
    device.sendInputReport(0, {1, 8, 9});
    ASSERT_TRUE(runUntil([&] { return log->input.size() == 2; }));
    runWhileBusy();
    EXPECT_EQ((Reports{{{1, 2, 3}, 0}, {{1, 8, 9}, 0}}), log->input);
}

} // namespace
