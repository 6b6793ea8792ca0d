/// When input of the kernel's devices came, how much it was, and what its queue had no room for.

#include "Library.h"

#include <QrxHIDDeviceEventInterface.h>
#include <QrxInput.h>
#include <QrxInputLoss.h>

#include <chrono>

using namespace qrx::guest;

namespace {

using Clock = std::chrono::steady_clock;

/// What the kernel keeps of each node.
constexpr std::size_t kQueuedReports = 63;

/// What a delegate is told, in its order.
struct Events {
    std::vector<ReceivedReport> reports;
    std::vector<Clock::time_point> arrivals;
    /// When the delegate was told of each report.
    std::vector<Clock::time_point> deliveries;
    struct Loss {
        int interfaceNumber;
        std::uint64_t count;
        /// Reports that were told before.
        std::size_t position;
    };
    std::vector<Loss> losses;
};

/// The device deletes it; what it writes lives as long as the test.
class EventDelegate : public QrxHIDDeviceDelegateInterface, public QrxHIDDeviceEventInterface {
public:
    explicit EventDelegate(Events& events) : _events(events) {}
    void handleReport(std::valarray<uint8_t> report, DeviceHandle device, int interfaceNumber) override
    {
        std::error_code error;
        _events.arrivals.push_back(QrxGetArrivalTime(*device, interfaceNumber, error));
        EXPECT_FALSE(error) << error.message();
        _events.deliveries.push_back(Clock::now());
        _events.reports.push_back({Bytes(std::begin(report), std::end(report)), interfaceNumber});
    }
    void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, DeviceHandle, int) override {}
    void inputMayBeLost(DeviceHandle, int interfaceNumber, uint64_t count) override
    {
        _events.losses.push_back({interfaceNumber, count, _events.reports.size()});
    }

private:
    Events& _events;
};

class Input : public Library {
protected:
    Input()
    {
        device = arrive(tree, plug);
        if (device) {
            device->setDelegate(new EventDelegate(events));
            device->open();
        }
    }
    ~Input() override
    {
        if (device) {
            device->close();
        }
    }

    QrxInputCounts counts(int interfaceNumber) const
    {
        std::error_code error;
        QrxInputCounts result = QrxGetInputCounts(*device, interfaceNumber, error);
        EXPECT_FALSE(error) << error.message();
        return result;
    }
    std::uint64_t possibleLosses(int interfaceNumber) const
    {
        std::error_code error;
        const std::uint64_t count = QrxGetPossibleLosses(*device, interfaceNumber, error);
        EXPECT_FALSE(error) << error.message();
        return count;
    }
    /// More than the kernel has room for, while the loop stands still.
    void overfill(std::size_t interface)
    {
        for (std::uint8_t number = 0; number < 2 * kQueuedReports; ++number) {
            plug.sendInput(interface, pattern(8, number));
        }
        ASSERT_TRUE(plug.waitUntilTaken(interface));
    }

    Events events;
    TreeHandle tree = observingTree();
    VhciDevice plug{identityOf("input"),
                    {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(8)),
                     hidInterface(qrx::guest::numberedDescriptor())}};
    DeviceHandle device;
};

} // namespace

TEST_F(Input, TheKernelsFullQueueIsToldOnceForItsInterfaceAfterWhatItKept)
{
    ASSERT_TRUE(device);
    overfill(1);
    runWhileBusy();
    ASSERT_EQ(events.reports.size(), kQueuedReports);
    EXPECT_EQ(events.reports.back(), (ReceivedReport{pattern(8, kQueuedReports - 1), 1})) << "the newest were dropped";
    ASSERT_EQ(events.losses.size(), 1U);
    EXPECT_EQ(events.losses[0].interfaceNumber, 1);
    EXPECT_EQ(events.losses[0].count, 1U);
    EXPECT_EQ(events.losses[0].position, kQueuedReports);
    EXPECT_EQ(possibleLosses(1), 1U);
    EXPECT_EQ(counts(1).getFullQueueCount(), 1U);
    EXPECT_EQ(possibleLosses(0), 0U);
}

TEST_F(Input, EachFullQueueIsCountedAndTold)
{
    ASSERT_TRUE(device);
    constexpr std::size_t kRounds = 3;
    for (std::size_t round = 1; round <= kRounds; ++round) {
        overfill(0);
        runWhileBusy();
        sendQueued(plug, 0, pattern(8, 200));
        runWhileBusy();
        EXPECT_EQ(events.reports.size(), round * (kQueuedReports + 1));
        EXPECT_EQ(events.losses.size(), round);
        EXPECT_EQ(possibleLosses(0), round);
    }
    EXPECT_EQ(counts(0).getReportCount(), kRounds * (kQueuedReports + 1)) << "what was lost is not counted as read";
}

TEST_F(Input, ARoomyQueueLosesNothing)
{
    ASSERT_TRUE(device);
    for (std::uint8_t number = 0; number < kQueuedReports - 1; ++number) {
        plug.sendInput(0, pattern(8, number));
    }
    ASSERT_TRUE(plug.waitUntilTaken(0));
    runWhileBusy();
    EXPECT_EQ(events.reports.size(), kQueuedReports - 1);
    EXPECT_TRUE(events.losses.empty());
    EXPECT_EQ(possibleLosses(0), 0U);
}

TEST_F(Input, TheTimeOfAReportIsBetweenItsSendingAndItsDelivery)
{
    ASSERT_TRUE(device);
    std::error_code error;
    // Times are taken from the first question on.
    QrxGetArrivalTime(*device, 0, error);
    ASSERT_FALSE(error) << error.message();
    Clock::time_point last = Clock::now();
    for (std::uint8_t number = 0; number < 30; ++number) {
        const Clock::time_point sent = Clock::now();
        plug.sendInput(0, pattern(8, number));
        ASSERT_TRUE(runUntil([&] { return events.reports.size() == number + 1U; }));
        EXPECT_LE(sent, events.arrivals.back()) << int{number};
        EXPECT_LE(events.arrivals.back(), events.deliveries.back()) << int{number};
        EXPECT_LE(last, events.arrivals.back()) << int{number};
        last = events.arrivals.back();
    }
    EXPECT_EQ(QrxGetArrivalTime(*device, 0, error), last) << "between reports it is the last one's";
}

TEST_F(Input, ReportsThatWaitHaveTheTimeAtWhichTheyAreReadNotThatOfTheirSending)
{
    ASSERT_TRUE(device);
    std::error_code error;
    QrxGetArrivalTime(*device, 0, error);
    for (std::uint8_t number = 0; number < 10; ++number) {
        plug.sendInput(0, pattern(8, number));
    }
    ASSERT_TRUE(plug.waitUntilTaken(0));
    const Clock::time_point allSent = Clock::now();
    runWhileBusy();
    ASSERT_EQ(events.arrivals.size(), 10U);
    EXPECT_LE(allSent, events.arrivals.front());
    for (std::size_t report = 0; report < events.arrivals.size(); ++report) {
        EXPECT_LE(events.arrivals[report], events.deliveries[report]) << report;
        EXPECT_LE(events.arrivals[0], events.arrivals[report]) << report;
    }
}

TEST_F(Input, IsCountedByInterfaceAsItWasSent)
{
    ASSERT_TRUE(device);
    constexpr std::size_t kSingle = 5;
    for (std::size_t number = 1; number <= kSingle; ++number) {
        sendQueued(plug, 0, pattern(8, 1));
        ASSERT_TRUE(runUntil([&] { return events.reports.size() == number; }));
    }
    constexpr std::size_t kAtOnce = 40;
    for (std::uint8_t number = 0; number < kAtOnce; ++number) {
        plug.sendInput(2, {2, number, 0, 0});
    }
    ASSERT_TRUE(plug.waitUntilTaken(2));
    runWhileBusy();
    const QrxInputCounts single = counts(0);
    EXPECT_EQ(single.getReportCount(), kSingle);
    EXPECT_EQ(single.getByteCount(), 8 * kSingle);
    EXPECT_EQ(single.getWakeUpCount(), kSingle) << "each came alone";
    const QrxInputCounts atOnce = counts(2);
    EXPECT_EQ(atOnce.getReportCount(), kAtOnce);
    EXPECT_EQ(atOnce.getByteCount(), 4 * kAtOnce) << "the number's byte is one of the report's";
    EXPECT_EQ(atOnce.getWakeUpCount(), 1U) << "they were read in one go";
    EXPECT_EQ(counts(1).getReportCount(), 0U);
    EXPECT_EQ(counts(1).getWakeUpCount(), 0U);
    device->close();
    device->open();
    EXPECT_EQ(counts(0).getReportCount(), 0U) << "counts begin when the interface is opened";
}
