/// Opening and asking with an outcome, on the kernel's devices.

#include "Library.h"

#include <QrxDeviceIdentity.h>
#include <QrxError.h>
#include <QrxRequests.h>

#include <algorithm>
#include <thread>

using namespace qrx::guest;

namespace {

constexpr std::uint8_t kGetReport = 0x01;
constexpr std::uint8_t kSetReport = 0x09;

/// A composite device with two interfaces of 8 byte reports and a numbered one.
class Requests : public Library {
protected:
    Requests() { device = arrive(tree, plug); }
    ~Requests() override
    {
        if (device) {
            device->close();
        }
    }

    static std::vector<UsbInterface> interfaces()
    {
        return {hidInterface(plainDescriptor(8)), hidInterface(plainDescriptor(8)),
                hidInterface(qrx::guest::numberedDescriptor())};
    }
    QrxOutcome send(QrxReportType type, const Bytes& bytes, int interface = 1)
    {
        return QrxSetReport(*device, type, 0, bytes.data(), bytes.size(), interface);
    }
    QrxOutcome ask(QrxReportType type, Bytes& report, unsigned int reportID = 0, int interface = 1)
    {
        return QrxGetReport(*device, type, reportID, report, interface);
    }
    /// Pulls the plug once the kernel has made such a request.
    std::thread pullAt(std::uint8_t request)
    {
        plug.takeControlRequests();
        return std::thread([this, request] {
            EXPECT_TRUE(waitUntil([&] {
                const auto requests = plug.takeControlRequests();
                return std::any_of(requests.begin(), requests.end(),
                                   [&](const SetupPacket& one) { return one.request == request; });
            }));
            plug.unplug();
        });
    }

    TreeHandle tree = observingTree();
    VhciDevice plug{identityOf("requests"), interfaces()};
    DeviceHandle device;
};

} // namespace

TEST_F(Requests, OneInterfaceIsOpenedAndOnlyItsNode)
{
    ASSERT_TRUE(device);
    const QrxOutcome outcome = QrxOpen(*device, 1);
    ASSERT_FALSE(outcome.hasFailed()) << outcome.getMessage();
    EXPECT_TRUE(waitUntil([this] { return isPolled(plug, 1); }));
    EXPECT_FALSE(isPolled(plug, 0));
    EXPECT_TRUE(QrxIsOpen(*device, 1));
    EXPECT_FALSE(QrxIsOpen(*device, 0));
    EXPECT_FALSE(QrxClose(*device, 1).hasFailed());
    EXPECT_FALSE(QrxIsOpen(*device));
}

TEST_F(Requests, FeatureAndInputReportsAreReadFromTheDevice)
{
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.setReport(1, UsbReportType::feature, 0, pattern(8, 1));
    plug.setReport(1, UsbReportType::input, 0, pattern(8, 2));
    Bytes report;
    QrxOutcome outcome = ask(QrxReportType::feature, report);
    EXPECT_FALSE(outcome.hasFailed()) << outcome.getMessage();
    EXPECT_EQ(pattern(8, 1), report);
    outcome = ask(QrxReportType::input, report);
    EXPECT_FALSE(outcome.hasFailed()) << outcome.getMessage();
    EXPECT_EQ(pattern(8, 2), report);
    const Bytes numbered{2, 20, 21, 22};
    plug.setReport(2, UsbReportType::feature, 2, numbered);
    outcome = ask(QrxReportType::feature, report, 2, 2);
    EXPECT_FALSE(outcome.hasFailed()) << outcome.getMessage();
    EXPECT_EQ(numbered, report);
}

TEST_F(Requests, AStallIsARefusal)
{
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.answerGetReport(1, Answer::stall);
    plug.answerSetReport(1, Answer::stall);
    plug.answerOutput(1, Answer::stall);
    Bytes report;
    EXPECT_EQ(QrxError::refused, ask(QrxReportType::feature, report).getError());
    EXPECT_EQ(QrxError::refused, send(QrxReportType::feature, Bytes(8)).getError());
    const QrxOutcome outcome = send(QrxReportType::output, Bytes(8));
    EXPECT_EQ(QrxError::refused, outcome.getError());
    EXPECT_NE(std::string::npos, outcome.getMessage().find("/dev/hidraw")) << outcome.getMessage();
}

TEST_F(Requests, SilenceEndsWithTheKernelsTimeLimit)
{
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.answerGetReport(1, Answer::silence);
    Bytes report;
    EXPECT_EQ(std::errc::timed_out, ask(QrxReportType::feature, report).getError());
    plug.answerGetReport(1, Answer::normal);
    plug.setReport(1, UsbReportType::feature, 0, pattern(8, 1));
    EXPECT_FALSE(ask(QrxReportType::feature, report).hasFailed());
}

TEST_F(Requests, AWrongSizeReachesNoWire)
{
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.takeControlRequests();
    for (const std::size_t size : {0u, 1u, 7u, 9u}) {
        EXPECT_EQ(QrxError::wrongLength, send(QrxReportType::output, Bytes(size)).getError()) << size;
        EXPECT_EQ(QrxError::wrongLength, send(QrxReportType::feature, Bytes(size)).getError()) << size;
    }
    EXPECT_TRUE(plug.takeSentReports().empty());
    EXPECT_TRUE(plug.takeControlRequests().empty());
}

TEST_F(Requests, AnUnplugDuringARequestEndsIt)
{
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.answerGetReport(1, Answer::silence);
    std::thread puller = pullAt(kGetReport);
    Bytes report;
    // What is under way ends by the kernel's time limit on this host controller, by the unplug on others.
    EXPECT_TRUE(ask(QrxReportType::feature, report).hasFailed());
    puller.join();
    ASSERT_TRUE(runUntil([this] { return tree->getHIDDeviceCount() == 0; }));
    EXPECT_EQ(QrxError::gone, ask(QrxReportType::feature, report).getError());
}

TEST_F(Requests, AnUnplugDuringSendingEndsIt)
{
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.answerSetReport(1, Answer::silence);
    std::thread puller = pullAt(kSetReport);
    EXPECT_TRUE(send(QrxReportType::feature, Bytes(8)).hasFailed());
    puller.join();
    ASSERT_TRUE(runUntil([this] { return tree->getHIDDeviceCount() == 0; }));
    EXPECT_EQ(QrxError::gone, send(QrxReportType::feature, Bytes(8)).getError());
}

TEST_F(Requests, TwoDevicesOfAKindAreToldApartAndFoundAgain)
{
    VhciDevice twin(identityOf("requests"), interfaces());
    const DeviceHandle other = arrive(tree, twin);
    ASSERT_TRUE(other);
    const QrxDeviceIdentity first(*device);
    const QrxDeviceIdentity second(*other);
    EXPECT_NE(first, second);
    EXPECT_NE(first.getPortChain(), second.getPortChain());
    EXPECT_NE(0u, first.getBusNumber());
    EXPECT_FALSE(first.isVirtual());
    EXPECT_EQ(0u, first.getNodePath(1).find("/dev/hidraw"));
    EXPECT_NE(first.getNodePath(1), second.getNodePath(1));
    EXPECT_EQ(plainDescriptor(8), first.getReportDescriptor(1));
    EXPECT_EQ(other, QrxFindDeviceAtPort(*tree, second.getPortChain()));
    const int port = twin.port();
    twin.unplug();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 1; }));
    twin.plug(port);
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 2; }));
    EXPECT_EQ(second, QrxDeviceIdentity(*tree->getDeviceAtIndex(1)));
    EXPECT_EQ(tree->getDeviceAtIndex(1), QrxFindDevice(*tree, second));
}
