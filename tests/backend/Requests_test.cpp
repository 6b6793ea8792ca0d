/// Opening, sending and asking with an outcome: what it calls of the platform, and what it makes of the answers.
///
/// The ground is that of macOS: everything goes through the published device interface.

#include "BackendTest.h"

#include <QrxInput.h>
#include <QrxInputLoss.h>
#include <QrxRequests.h>

#include <IOKit/IOReturn.h>

#include <array>

using fake::Bytes;
using fake::Value;
using world::Sample;

namespace {

class RequestsOnThePlatform : public BackendTest {
protected:
    RequestsOnThePlatform()
    {
        fake::FakeEntry& added = addDevice("usb1", {Sample::kPedal, Sample::kVendor});
        added.properties["locationID"] = Value(0x14210000);
        entry("usb1-hid1").properties["ReportDescriptor"] = Value(world::descriptorOf(Sample::kVendor));
        device = deviceOf(added);
        device->setDelegate(new RecordingDeviceDelegate(record));
        platform.log.clear();
        platform.log.withLooks = false;
    }
    void TearDown() override
    {
        device.release();
        BackendTest::TearDown();
    }
    /// The calls of devices and queues.
    std::string calls() const { return platform.log.linesWith({"usb1-hid"}); }
    QrxOutcome send(const Bytes& bytes)
    {
        return QrxSetReport(*device, QrxReportType::output, 2, bytes.data(), bytes.size(), 1);
    }
    /// Every call of the function fails with the result from now on.
    void refuse(const std::string& function, IOReturn result)
    {
        platform.log.failAll(function);
        platform.hid.failure = result;
    }

    DeviceRecord record;
    mis::swizzler<_QrxHIDDeviceImpl> device;
    const Bytes output{2, 1, 2, 3, 4, 5, 6, 7};
};

struct Answer {
    IOReturn result;
    std::error_code error;
};

/// Results of the USB family, by number: some systems' headers lack them.
constexpr IOReturn kPipeStalled = static_cast<IOReturn>(0xe000404f);
constexpr IOReturn kTransactionTimeout = static_cast<IOReturn>(0xe0004051);

const Answer kAnswers[] = {
    {kIOReturnNotOpen, QrxError::notOpen},
    {kIOReturnNoDevice, QrxError::gone},
    {kIOReturnNotAttached, QrxError::gone},
    {kIOReturnOffline, QrxError::gone},
    {kPipeStalled, QrxError::refused},
    {kIOReturnTimeout, QrxError::timedOut},
    {kIOReturnNotResponding, QrxError::timedOut},
    {kTransactionTimeout, QrxError::timedOut},
    {kIOReturnNotPrivileged, QrxError::noPermission},
    {kIOReturnNotPermitted, QrxError::noPermission},
    {kIOReturnExclusiveAccess, QrxError::busy},
    {kIOReturnBusy, QrxError::busy},
    {kIOReturnNoResources, QrxError::outOfDescriptors},
    {kIOReturnNoMemory, std::make_error_code(std::errc::not_enough_memory)},
    {kIOReturnUnsupported, QrxError::notPossible},
    {kIOReturnIOError, QrxError::failed},
};

} // namespace

TEST_F(RequestsOnThePlatform, OneInterfaceIsOpenedWithTheCallsOfItsOwnDriverAlone)
{
    EXPECT_FALSE(QrxOpen(*device, 1).hasFailed());
    EXPECT_EQ(platform.log.linesWith({"usb1-"}), "usb1-hid1.open(0)\n"
                                                 "usb1-hid1.createAsyncEventSource()\n"
                                                 "CFRunLoopAddSource(loop, usb1-hid1-source, kCFRunLoopDefaultMode)\n"
                                                 "IORegistryEntryCreateCFProperty(usb1-hid1, MaxInputReportSize)\n"
                                                 "usb1-hid1.setInterruptReportHandlerCallback(size 64)\n");
    EXPECT_TRUE(QrxIsOpen(*device, 1));
    EXPECT_FALSE(QrxIsOpen(*device, 0));
    platform.log.clear();
    EXPECT_FALSE(QrxClose(*device, 1).hasFailed());
    EXPECT_EQ(platform.log.linesWith({"hid0", "hid1.close"}), "usb1-hid1.close()\n");
    EXPECT_FALSE(QrxIsOpen(*device));
}

TEST_F(RequestsOnThePlatform, WhatIsOpenIsNotOpenedAgainAndWhatIsClosedNotClosed)
{
    EXPECT_FALSE(QrxOpen(*device, 1).hasFailed());
    platform.log.clear();
    EXPECT_FALSE(QrxOpen(*device, 1).hasFailed());
    EXPECT_FALSE(QrxClose(*device, 0).hasFailed());
    EXPECT_EQ(calls(), "");
    EXPECT_FALSE(QrxOpen(*device).hasFailed());
    EXPECT_EQ(platform.log.linesWith({".open("}), "usb1-hid0.open(0)\n");
    device->close();
}

TEST_F(RequestsOnThePlatform, AnInterfaceThatDoesNotOpenKeepsNoOtherClosed)
{
    platform.log.failCall("open", 1);
    platform.hid.failure = kIOReturnExclusiveAccess;
    const QrxOutcome outcome = QrxOpen(*device);
    EXPECT_EQ(outcome.getError(), QrxError::busy);
    EXPECT_EQ(outcome.getMessage().find("1234:5678 at 20-2.1, interface 0 was not opened"), 0U) << outcome.getMessage();
    EXPECT_FALSE(QrxIsOpen(*device, 0));
    EXPECT_TRUE(QrxIsOpen(*device, 1));
    device->close();
}

TEST_F(RequestsOnThePlatform, AReportIsSentByOneCallAfterTheDelegateWasTold)
{
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    platform.log.clear();
    record.onSetReport = [this] { EXPECT_TRUE(platform.hid.sent.empty()); };
    EXPECT_FALSE(send(output).hasFailed());
    EXPECT_EQ(calls(), "usb1-hid1.setReport(type 1, id 2, 8 bytes, timeout 0)\n");
    EXPECT_EQ(platform.hid.sent.at(0).bytes, output);
    EXPECT_THAT(record.lines, testing::ElementsAre("set 1 2 1: 02 01 02 03 04 05 06 07"));
    device->close();
}

TEST_F(RequestsOnThePlatform, AReportIsAskedForByOneCallWithItsDeclaredSize)
{
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    platform.hid.answer = {3, 7, 8, 9};
    platform.log.clear();
    Bytes report;
    EXPECT_FALSE(QrxGetReport(*device, QrxReportType::feature, 3, report, 1).hasFailed());
    EXPECT_EQ(report, platform.hid.answer);
    platform.hid.answer = {1, 2};
    EXPECT_FALSE(QrxGetReport(*device, QrxReportType::input, 1, report, 1).hasFailed());
    EXPECT_EQ(report, platform.hid.answer) << "a short answer is as short as it came";
    EXPECT_EQ(calls(), "usb1-hid1.getReport(type 2, id 3, 4 bytes, timeout 0)\n"
                       "usb1-hid1.getReport(type 0, id 1, 64 bytes, timeout 0)\n");
    EXPECT_TRUE(record.lines.empty()) << "asking is not told";
    device->close();
}

TEST_F(RequestsOnThePlatform, AnAnswerThatClaimsMoreThanTheBufferIsCut)
{
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    platform.hid.answer = {3, 7, 8, 9, 10, 11};
    std::array<std::uint8_t, 4> buffer{};
    std::size_t received = 0;
    EXPECT_FALSE(
        QrxGetReport(*device, QrxReportType::feature, 3, buffer.data(), buffer.size(), received, 1).hasFailed());
    EXPECT_EQ(received, buffer.size());
    EXPECT_EQ(buffer, (std::array<std::uint8_t, 4>{3, 7, 8, 9}));
    device->close();
}

TEST_F(RequestsOnThePlatform, WhatTheDescriptorRulesOutReachesNoDriver)
{
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    platform.log.clear();
    Bytes report;
    EXPECT_EQ(send({2, 1}).getError(), QrxError::wrongLength);
    EXPECT_EQ(send({3, 1, 2, 3, 4, 5, 6, 7}).getError(), QrxError::wrongFirstByte);
    EXPECT_EQ(QrxGetReport(*device, QrxReportType::feature, 4, report, 1).getError(), QrxError::noSuchReport);
    EXPECT_EQ(QrxGetReport(*device, QrxReportType::feature, 3, report, 2).getError(), QrxError::noSuchInterface);
    EXPECT_EQ(calls(), "");
    EXPECT_TRUE(record.lines.empty());
    device->close();
}

TEST_F(RequestsOnThePlatform, WithoutAPublishedDescriptorTheDriverDecides)
{
    ASSERT_FALSE(QrxOpen(*device, 0).hasFailed());
    platform.log.clear();
    EXPECT_FALSE(QrxSetReport(*device, QrxReportType::feature, 2, output.data(), output.size(), 0).hasFailed());
    Bytes report;
    platform.hid.answer = {5};
    EXPECT_FALSE(QrxGetReport(*device, QrxReportType::input, 0, report, 0).hasFailed());
    EXPECT_EQ(calls(), "usb1-hid0.setReport(type 2, id 2, 8 bytes, timeout 0)\n"
                       "usb1-hid0.getReport(type 0, id 0, 1 bytes, timeout 0)\n")
        << "the largest input report of the interface";
    device->close();
}

TEST_F(RequestsOnThePlatform, EachAnswerOfThePlatformHasItsError)
{
    for (const Answer& answer : kAnswers) {
        refuse("open", answer.result);
        EXPECT_EQ(QrxOpen(*device, 1).getError(), answer.error) << std::hex << answer.result;
        refuse("setReport", answer.result);
        EXPECT_EQ(send(output).getError(), answer.error) << std::hex << answer.result;
        refuse("getReport", answer.result);
        Bytes report{1, 2, 3};
        EXPECT_EQ(QrxGetReport(*device, QrxReportType::feature, 3, report, 1).getError(), answer.error)
            << std::hex << answer.result;
        EXPECT_TRUE(report.empty());
    }
}

TEST_F(RequestsOnThePlatform, AnInterfaceWithoutADeviceInterfaceIsAFailure)
{
    platform.log.failCall("IOCreatePlugInInterfaceForService", 3);
    const auto bare = deviceOf(addDevice("usb2", {Sample::kPedal}));
    Bytes report;
    EXPECT_EQ(QrxOpen(*bare, 0).getError(), QrxError::failed);
    EXPECT_EQ(QrxSetReport(*bare, QrxReportType::output, 0, output.data(), 1, 0).getError(), QrxError::failed);
    EXPECT_EQ(QrxGetReport(*bare, QrxReportType::input, 0, report, 0).getError(), QrxError::noSuchInterface);
}

TEST_F(RequestsOnThePlatform, WhatThisPlatformDoesNotCountIsNotPossible)
{
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    std::error_code error;
    EXPECT_EQ(QrxGetPossibleLosses(*device, 1, error), 0U);
    EXPECT_EQ(error, QrxError::notPossible);
    EXPECT_EQ(QrxGetInputCounts(*device, 1, error).getReportCount(), 0U);
    EXPECT_EQ(error, QrxError::notPossible);
    QrxGetArrivalTime(*device, 1, error);
    EXPECT_EQ(error, std::errc::not_supported);
    device->close();
}
