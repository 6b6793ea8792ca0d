#include "QrxInput.h"

#include "AdditionsTest.h"

#include <QrxError.h>

namespace {

using Clock = std::chrono::steady_clock;

class Input : public AdditionsTest, public testing::WithParamInterface<bool> {
protected:
    Input() { setQueueMode(GetParam()); }
    static QrxInputCounts countsOf(const DeviceHandle& device, int interfaceNumber)
    {
        std::error_code error = QrxError::failed;
        const QrxInputCounts counts = QrxGetInputCounts(*device, interfaceNumber, error);
        EXPECT_FALSE(error) << error.message();
        return counts;
    }
};

INSTANTIATE_TEST_SUITE_P(Modes, Input, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "queue" : "interrupt"; });

TEST_P(Input, IsCountedByInterfaceSinceItWasOpened)
{
    TestDevice plug = makeDevice("counted", plainDescriptor(), {0, 1});
    const DeviceHandle device = arrived(plug);
    const auto log = openWithLog(device);
    EXPECT_EQ(0u, countsOf(device, 1).getReportCount());
    for (int number = 0; number < 3; ++number) {
        plug.sendInputReport(1, {1, 2, 3, 4});
    }
    runWhileBusy();
    plug.sendInputReport(1, {1, 2, 3, 4});
    runWhileBusy();
    const QrxInputCounts counts = countsOf(device, 1);
    EXPECT_EQ(4u, counts.getReportCount());
    EXPECT_EQ(16u, counts.getByteCount());
    EXPECT_GE(counts.getWakeUpCount(), 2u);
    EXPECT_EQ(0u, counts.getFullQueueCount());
    EXPECT_EQ(0u, countsOf(device, 0).getReportCount());
    for (std::size_t number = 0; number < TestDevice::kQueuedReports + 2; ++number) {
        plug.sendInputReport(0, {1, 2, 3, 4});
    }
    runWhileBusy();
    EXPECT_EQ(TestDevice::kQueuedReports, countsOf(device, 0).getReportCount());
    EXPECT_EQ(2u, countsOf(device, 0).getFullQueueCount());
    device->close();
    device->open();
    EXPECT_EQ(0u, countsOf(device, 1).getReportCount());
    device->close();
}

TEST_P(Input, HasTheTimeAtWhichItWasRead)
{
    TestDevice plug = makeDevice("timed", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    const auto log = openWithLog(device);
    std::vector<Clock::time_point> times;
    const auto ask = [&] {
        std::error_code error = QrxError::failed;
        times.push_back(QrxGetArrivalTime(*device, 0, error));
        EXPECT_FALSE(error) << error.message();
    };
    ask();
    log->onInput = ask;
    const auto before = Clock::now();
    plug.sendInputReport(0, {1, 0, 0, 0});
    plug.sendInputReport(0, {2, 0, 0, 0});
    runWhileBusy();
    const auto between = Clock::now();
    ASSERT_EQ(3u, times.size());
    EXPECT_LE(times[0], before);
    EXPECT_LE(before, times[1]);
    EXPECT_EQ(times[1], times[2]) << "both were read in one go";
    plug.sendInputReport(0, {3, 0, 0, 0});
    runWhileBusy();
    ASSERT_EQ(4u, times.size());
    EXPECT_LE(between, times[3]);
    ask();
    EXPECT_EQ(times[3], times[4]) << "the last report's";
    device->close();
}

TEST_P(Input, OfAClosedInterfaceIsAnError)
{
    TestDevice plug = makeDevice("closed", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    std::error_code error;
    EXPECT_EQ(0u, QrxGetInputCounts(*device, 0, error).getReportCount());
    EXPECT_EQ(QrxError::notOpen, error);
    EXPECT_EQ(Clock::time_point(), QrxGetArrivalTime(*device, 0, error));
    EXPECT_EQ(QrxError::notOpen, error);
    QrxGetInputCounts(*device, 1, error);
    EXPECT_EQ(QrxError::noSuchInterface, error);
    QrxGetArrivalTime(*device, 1, error);
    EXPECT_EQ(QrxError::noSuchInterface, error);
}

} // namespace
