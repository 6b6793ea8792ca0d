#include "QrxRequests.h"

#include "AdditionsTest.h"
#include "QrxDeviceIdentity.h"

#include <sys/resource.h>

#include <array>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace {

// The library looks once in a process.
[[maybe_unused]] const int sm_LogLevel = ::setenv("QRX_LOG", "info", 1);

using Requests = AdditionsTest;

constexpr unsigned int kNoReportID = 0;

Bytes askedFor(const DeviceHandle& device, QrxReportType type, unsigned int reportID, int interfaceNumber = 0)
{
    Bytes report;
    const QrxOutcome outcome = QrxGetReport(*device, type, reportID, report, interfaceNumber);
    EXPECT_FALSE(outcome.hasFailed()) << outcome.getMessage();
    return report;
}

std::error_code askingError(const DeviceHandle& device, QrxReportType type, unsigned int reportID,
                            int interfaceNumber = 0)
{
    Bytes report{1, 2, 3};
    const QrxOutcome outcome = QrxGetReport(*device, type, reportID, report, interfaceNumber);
    EXPECT_TRUE(report.empty() || !outcome.hasFailed());
    return outcome.getError();
}

QrxOutcome sent(const DeviceHandle& device, QrxReportType type, unsigned int reportID, const Bytes& bytes,
                int interfaceNumber = 0)
{
    return QrxSetReport(*device, type, reportID, bytes.data(), bytes.size(), interfaceNumber);
}

/// How messages name interface 0.
std::string nameOf(const DeviceHandle& device)
{
    return "1234:5678 at " + QrxDeviceIdentity(*device).getPortChain() + ", interface 0";
}

/// Leaves the process without a free descriptor while it lives.
class NoDescriptors {
public:
    NoDescriptors()
    {
        ::getrlimit(RLIMIT_NOFILE, &_before);
        rlimit none = _before;
        none.rlim_cur = 0;
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &_before); }

private:
    rlimit _before{};
};

TEST_F(Requests, AnInterfaceIsOpenedAndClosedByItself)
{
    TestDevice plug = makeDevice("composite", plainDescriptor(), {0, 3});
    const DeviceHandle device = arrived(plug);
    EXPECT_FALSE(QrxIsOpen(*device));
    EXPECT_FALSE(QrxOpen(*device, 3).hasFailed());
    EXPECT_TRUE(plug.isOpen(3));
    EXPECT_FALSE(plug.isOpen(0));
    EXPECT_TRUE(QrxIsOpen(*device));
    EXPECT_TRUE(QrxIsOpen(*device, 3));
    EXPECT_FALSE(QrxIsOpen(*device, 0));
    EXPECT_FALSE(QrxIsOpen(*device, 7));
    EXPECT_FALSE(QrxClose(*device, 3).hasFailed());
    EXPECT_FALSE(plug.isOpen(3));
    EXPECT_FALSE(QrxIsOpen(*device));
}

TEST_F(Requests, OpeningTwiceIsOpeningOnce)
{
    TestDevice plug = makeDevice("twice", plainDescriptor(), {0, 1});
    const DeviceHandle device = arrived(plug);
    EXPECT_FALSE(QrxOpen(*device, 1).hasFailed());
    EXPECT_FALSE(QrxOpen(*device).hasFailed());
    EXPECT_FALSE(QrxOpen(*device, 1).hasFailed());
    EXPECT_EQ(1u, plug.virtualDevice()->getOpenCount(0));
    EXPECT_EQ(1u, plug.virtualDevice()->getOpenCount(1));
    device->close();
    EXPECT_FALSE(plug.isOpen(0));
    EXPECT_FALSE(plug.isOpen(1));
}

TEST_F(Requests, InputOfAnInterfaceThatWasOpenedAloneArrives)
{
    TestDevice plug = makeDevice("input", plainDescriptor(), {0, 1});
    const DeviceHandle device = arrived(plug);
    const auto log = std::make_shared<RecordingDeviceDelegate::Log>();
    device->setDelegate(new RecordingDeviceDelegate(log));
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    plug.sendInputReport(0, {1, 1, 1, 1});
    plug.sendInputReport(1, {2, 2, 2, 2});
    runWhileBusy();
    EXPECT_EQ(log->input, (std::vector<ReceivedReport>{{{2, 2, 2, 2}, 1}}));
    EXPECT_FALSE(QrxClose(*device, 1).hasFailed());
}

TEST_F(Requests, AnInterfaceThatIsNotThereIsAnError)
{
    TestDevice plug = makeDevice("one", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    for (const int number : {-1, 1, 255}) {
        EXPECT_EQ(QrxError::noSuchInterface, QrxOpen(*device, number).getError()) << number;
        EXPECT_EQ(std::errc::no_such_device_or_address, QrxClose(*device, number).getError()) << number;
        EXPECT_EQ(QrxError::noSuchInterface, sent(device, QrxReportType::output, 0, {1, 2}, number).getError());
        EXPECT_EQ(QrxError::noSuchInterface, askingError(device, QrxReportType::feature, 0, number));
    }
}

TEST_F(Requests, ADeviceThatLeftCannotBeOpened)
{
    TestDevice plug = makeDevice("short", plainDescriptor(), {0, 1});
    const DeviceHandle device = arrived(plug);
    plug.unplug();
    const QrxOutcome outcome = QrxOpen(*device);
    EXPECT_EQ(QrxError::gone, outcome.getError());
    EXPECT_EQ(std::errc::no_such_device, outcome.getError());
    EXPECT_EQ(nameOf(device) + " was not opened: The device has left.", outcome.getMessage());
    EXPECT_FALSE(QrxIsOpen(*device));
    for (const int number : {0, 1}) {
        EXPECT_EQ(QrxError::gone, QrxOpen(*device, number).getError()) << number;
    }
}

TEST_F(Requests, WithoutADescriptorOpeningFailsAndLaterSucceeds)
{
    TestDevice plug = makeDevice("scarce", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    // What a sanitizer has to look up of classes, it looks up before (see DescriptorLimit).
    EXPECT_FALSE(QrxOpen(*device).hasFailed());
    device->close();
    const QrxOutcome wrong = QrxOpen(*device, 99);
    EXPECT_EQ(QrxError::noSuchInterface, wrong.getError());
    EXPECT_EQ(std::errc::no_such_device_or_address, wrong.getError());
    testing::internal::CaptureStderr();
    QrxOutcome outcome;
    {
        const NoDescriptors none;
        outcome = QrxOpen(*device);
    }
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(QrxError::outOfDescriptors, outcome.getError());
    EXPECT_EQ(std::errc::too_many_files_open, outcome.getError());
    EXPECT_FALSE(QrxOpen(*device).hasFailed());
    device->close();
}

TEST_F(Requests, AReportIsSentAndTheDelegateIsToldFirst)
{
    TestDevice plug = makeDevice("sink", numberedDescriptor());
    const DeviceHandle device = arrived(plug);
    const auto log = openWithLog(device);
    log->onSent = [&] { EXPECT_TRUE(plug.takeSentReports().empty()); };
    EXPECT_FALSE(sent(device, QrxReportType::output, 3, {3, 1, 2, 3}).hasFailed());
    const auto reports = plug.takeSentReports();
    ASSERT_EQ(1u, reports.size());
    EXPECT_EQ((Bytes{3, 1, 2, 3}), reports[0].getBytes());
    EXPECT_EQ(3u, reports[0].getReportID());
    EXPECT_EQ(log->sent, (std::vector<ReceivedReport>{{{3, 1, 2, 3}, 0}}));
    device->close();
}

TEST_F(Requests, AReportThatTheDescriptorDoesNotHaveIsNeitherSentNorTold)
{
    TestDevice plug = makeDevice("strict", numberedDescriptor());
    const DeviceHandle device = arrived(plug);
    const auto log = openWithLog(device);
    EXPECT_EQ(QrxError::noSuchReport, sent(device, QrxReportType::output, 4, {4, 1, 2, 3}).getError());
    EXPECT_EQ(QrxError::noSuchReport, sent(device, QrxReportType::output, 0, {1, 2, 3}).getError());
    EXPECT_EQ(QrxError::noSuchReport, sent(device, static_cast<QrxReportType>(3), 3, {3, 1, 2, 3}).getError());
    for (const Bytes& wrong : {Bytes{}, Bytes{3}, Bytes{3, 1, 2}, Bytes{3, 1, 2, 3, 4}}) {
        EXPECT_EQ(QrxError::wrongLength, sent(device, QrxReportType::output, 3, wrong).getError()) << wrong.size();
    }
    const QrxOutcome outcome = sent(device, QrxReportType::output, 3, {1, 1, 2, 3});
    EXPECT_EQ(QrxError::wrongFirstByte, outcome.getError());
    EXPECT_EQ(std::errc::invalid_argument, outcome.getError());
    EXPECT_EQ(nameOf(device) +
                  ": output report 3 was not sent: The bytes of a numbered report must begin with its number.",
              outcome.getMessage());
    EXPECT_TRUE(plug.takeSentReports().empty());
    EXPECT_TRUE(log->sent.empty());
    device->close();
}

TEST_F(Requests, NothingIsSentToAClosedInterface)
{
    TestDevice plug = makeDevice("closed", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    EXPECT_EQ(std::errc::not_connected, sent(device, QrxReportType::output, 0, {1, 2}).getError());
    EXPECT_EQ(QrxError::notOpen, askingError(device, QrxReportType::feature, 0));
}

TEST_F(Requests, ARefusalIsTheDevices)
{
    TestDevice plug = makeDevice("stall", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.virtualDevice()->setSentReportHandler([](const QrxSentReport&) { return false; });
    plug.virtualDevice()->setReportRequestHandler([](int, unsigned, unsigned, Bytes&) { return false; });
    const QrxOutcome outcome = sent(device, QrxReportType::feature, 0, {1, 2});
    EXPECT_EQ(QrxError::refused, outcome.getError());
    EXPECT_EQ(std::errc::broken_pipe, outcome.getError());
    EXPECT_THROW(outcome.throwIfFailed(), std::system_error);
    EXPECT_EQ(QrxError::refused, askingError(device, QrxReportType::feature, 0));
    device->close();
}

TEST_F(Requests, APulledDeviceIsGoneWhateverItWasAskedFor)
{
    TestDevice plug = makeDevice("pulled", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.unplug();
    EXPECT_EQ(QrxError::gone, sent(device, QrxReportType::output, 0, {1, 2}).getError());
    EXPECT_EQ(QrxError::gone, askingError(device, QrxReportType::feature, 0));
    device->close();
}

TEST_F(Requests, AnOpenInterfaceOfAPulledDeviceIsGoneWhenItIsOpenedAgain)
{
    TestDevice plug = makeDevice("reopened", plainDescriptor(), {0, 1});
    const DeviceHandle device = arrived(plug);
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    ASSERT_FALSE(QrxOpen(*device, 1).hasFailed());
    plug.sendInputReport(1, {1, 2, 3, 4});
    plug.unplug();
    EXPECT_EQ(QrxError::gone, QrxOpen(*device, 1).getError()) << "although a report waits";
    EXPECT_EQ(QrxError::gone, QrxOpen(*device).getError());
    EXPECT_TRUE(QrxIsOpen(*device, 1)) << "until it is closed";
    EXPECT_FALSE(QrxIsOpen(*device, 0));
    device->close();
    EXPECT_EQ(QrxError::gone, QrxOpen(*device, 1).getError());
}

TEST_F(Requests, AnUnpluggingInsideTheRequestDoesNotHurt)
{
    TestDevice plug = makeDevice("inside", plainDescriptor());
    DeviceHandle device = arrived(plug);
    _tree = {};
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    QrxHIDDevice& bare = *device;
    plug.virtualDevice()->setReportRequestHandler([&](int, unsigned, unsigned, Bytes& answer) {
        plug.unplug();
        device->close();
        device.release();
        answer = {7, 8};
        return true;
    });
    Bytes report;
    EXPECT_FALSE(QrxGetReport(bare, QrxReportType::feature, 0, report, 0).hasFailed());
    EXPECT_EQ((Bytes{7, 8}), report);
}

TEST_F(Requests, TheDelegateMayDropTheDeviceBeforeItsReportIsSent)
{
    TestDevice plug = makeDevice("dropped", plainDescriptor());
    DeviceHandle device = arrived(plug);
    _tree = {};
    const auto log = openWithLog(device);
    QrxHIDDevice& bare = *device;
    log->onSent = [&] { device.release(); };
    const Bytes bytes{1, 2};
    EXPECT_FALSE(QrxSetReport(bare, QrxReportType::output, 0, bytes.data(), bytes.size(), 0).hasFailed());
    EXPECT_EQ(1u, plug.takeSentReports().size());
}

TEST_F(Requests, AFeatureReportIsReadAsTheDeviceAnswers)
{
    TestDevice plug = makeDevice("answers", numberedDescriptor());
    const DeviceHandle device = arrived(plug);
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    plug.virtualDevice()->setReportRequestHandler([](int, unsigned type, unsigned id, Bytes& answer) {
        answer = {static_cast<std::uint8_t>(id), static_cast<std::uint8_t>(type), 9};
        return true;
    });
    EXPECT_EQ((Bytes{4, 2, 9}), askedFor(device, QrxReportType::feature, 4));
    EXPECT_EQ((Bytes{1, 0, 9}), askedFor(device, QrxReportType::input, 1));
    EXPECT_EQ((Bytes{3, 1, 9}), askedFor(device, QrxReportType::output, 3));
    device->close();
}

TEST_F(Requests, AReportIsReadIntoTheCallersBuffer)
{
    TestDevice plug = makeDevice("buffer", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    ASSERT_FALSE(QrxOpen(*device).hasFailed());
    ASSERT_FALSE(sent(device, QrxReportType::feature, kNoReportID, {5, 6}).hasFailed());
    std::array<std::uint8_t, 8> buffer{};
    std::size_t received = 77;
    EXPECT_FALSE(QrxGetReport(*device, QrxReportType::feature, kNoReportID, buffer.data(), buffer.size(), received, 0)
                     .hasFailed());
    EXPECT_EQ(2u, received);
    EXPECT_EQ(5, buffer[0]);
    EXPECT_EQ(6, buffer[1]);
    EXPECT_EQ(QrxError::wrongLength,
              QrxGetReport(*device, QrxReportType::feature, kNoReportID, buffer.data(), 1, received, 0).getError());
    EXPECT_EQ(0u, received);
    EXPECT_EQ(QrxError::noSuchReport,
              QrxGetReport(*device, QrxReportType::feature, 9, buffer.data(), buffer.size(), received, 0).getError());
    device->close();
}

using PlainRequests = AdditionsTest;

TEST_F(PlainRequests, ThatAreRefusedAreALineOfTheLogEach)
{
    TestDevice plug = makeDevice("plain", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    device->open();
    plug.virtualDevice()->setSentReportHandler([](const QrxSentReport&) { return false; });
    testing::internal::CaptureStderr();
    device->setReport(1, 0, {1, 2}, 0);
    device->close();
    device->setReport(2, 0, {1, 2}, 0);
    plug.unplug();
    device->open();
    const std::string begin = "QrxHIDManager: device " + nameOf(device) + ": ";
    EXPECT_EQ(begin + "output report 0 not sent: the device refused it\n" + begin +
                  "feature report 0 not sent: the interface is not open\n" + begin +
                  "not opened: the device has left\n",
              testing::internal::GetCapturedStderr());
}

TEST_F(PlainRequests, ThatThePlatformHasToldOfAreNoSecondLine)
{
    TestDevice plug = makeDevice("scarce", plainDescriptor());
    const DeviceHandle device = arrived(plug);
    // What a sanitizer has to look up of classes, it looks up before (see DescriptorLimit).
    device->open();
    device->close();
    testing::internal::CaptureStderr();
    {
        const NoDescriptors none;
        device->open();
    }
    EXPECT_EQ("QrxHIDManager: Interface 0 of the virtual device \"scarce\" cannot be opened: no file descriptor is "
              "free.\n",
              testing::internal::GetCapturedStderr());
}

TEST(QrxOutcome, OfSuccessHasNoMessage)
{
    const QrxOutcome outcome;
    EXPECT_FALSE(outcome.hasFailed());
    EXPECT_EQ("", outcome.getMessage());
    EXPECT_NO_THROW(outcome.throwIfFailed());
    EXPECT_EQ("", QrxOutcome(std::error_code(), "nothing").getMessage());
}

TEST(QrxError, EqualsTheStandardConditionBehindIt)
{
    const std::pair<QrxError, std::errc> expected[] = {
        {QrxError::wrongLength, std::errc::invalid_argument},
        {QrxError::noSuchUsage, std::errc::invalid_argument},
        {QrxError::wrongFirstByte, std::errc::invalid_argument},
        {QrxError::outOfRange, std::errc::result_out_of_range},
        {QrxError::noRoom, std::errc::result_out_of_range},
        {QrxError::noSuchInterface, std::errc::no_such_device_or_address},
        {QrxError::notOpen, std::errc::not_connected},
        {QrxError::gone, std::errc::no_such_device},
        {QrxError::refused, std::errc::broken_pipe},
        {QrxError::timedOut, std::errc::timed_out},
        {QrxError::noPermission, std::errc::permission_denied},
        {QrxError::busy, std::errc::device_or_resource_busy},
        {QrxError::outOfDescriptors, std::errc::too_many_files_open},
        {QrxError::notPossible, std::errc::not_supported},
        {QrxError::failed, std::errc::io_error}};
    for (const auto& [error, condition] : expected) {
        EXPECT_TRUE(make_error_code(error) == condition) << make_error_code(error).message();
        EXPECT_EQ('.', make_error_code(error).message().back());
    }
}

} // namespace
