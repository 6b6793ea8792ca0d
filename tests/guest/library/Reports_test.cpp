/// Reports between an application and the kernel's devices.

#include "Library.h"

#include <chrono>
#include <numeric>

using namespace qrx::guest;

namespace {

constexpr unsigned int kOutput = 1;
constexpr unsigned int kFeature = 2;

std::valarray<std::uint8_t> arrayOf(const Bytes& bytes)
{
    return {bytes.data(), bytes.size()};
}

/// One device, open.
class Reports : public Library {
protected:
    void open(std::vector<UsbInterface> interfaces)
    {
        plug.emplace(identityOf("reports"), std::move(interfaces));
        device = arrive(tree, *plug);
        ASSERT_TRUE(device);
        log = openWithLog(device);
    }
    void send(unsigned int type, unsigned int reportID, const Bytes& bytes, int interface = 0)
    {
        device->setReport(type, reportID, arrayOf(bytes), interface);
    }
    ~Reports() override
    {
        if (device) {
            device->close();
        }
    }

    TreeHandle tree = observingTree();
    std::optional<VhciDevice> plug;
    DeviceHandle device;
    std::shared_ptr<RecordingDeviceDelegate::Log> log;
};

constexpr std::uint16_t kLengths[] = {1, 8, 63, 64, 65, 1024};

std::vector<UsbInterface> interfacesOfAllLengths(bool haveOutEndpoints)
{
    std::vector<UsbInterface> interfaces;
    for (const std::uint16_t length : kLengths) {
        interfaces.push_back(hidInterface(plainDescriptor(length), 1024));
        interfaces.back().hasOutEndpoint = haveOutEndpoints;
    }
    return interfaces;
}

} // namespace

TEST_F(Reports, InputOfEveryLengthArrivesWhole)
{
    open(interfacesOfAllLengths(true));
    for (std::size_t interface = 0; interface < std::size(kLengths); ++interface) {
        sendQueued(*plug, interface, pattern(kLengths[interface], 3));
        ASSERT_TRUE(runUntil([&] { return log->input.size() == interface + 1; })) << kLengths[interface] << " bytes";
        EXPECT_EQ(log->input.back(), (ReceivedReport{pattern(kLengths[interface], 3), static_cast<int>(interface)}));
    }
}

class ReportsOut : public Reports, public testing::WithParamInterface<bool> {};

TEST_P(ReportsOut, OutputAndFeatureOfEveryLengthArriveWhole)
{
    open(interfacesOfAllLengths(GetParam()));
    for (std::size_t interface = 0; interface < std::size(kLengths); ++interface) {
        const Bytes output = pattern(kLengths[interface], 5);
        const Bytes feature = pattern(kLengths[interface], 9);
        send(kOutput, 0, output, static_cast<int>(interface));
        send(kFeature, 0, feature, static_cast<int>(interface));
        const std::vector<SentReport> sent = plug->takeSentReports();
        ASSERT_EQ(sent.size(), 2U) << kLengths[interface] << " bytes";
        EXPECT_EQ(sent[0].interface, interface);
        EXPECT_EQ(sent[0].type, UsbReportType::output);
        EXPECT_EQ(sent[0].byControlRequest, !GetParam());
        EXPECT_EQ(sent[0].bytes, output);
        EXPECT_EQ(sent[1].interface, interface);
        EXPECT_EQ(sent[1].type, UsbReportType::feature);
        EXPECT_EQ(sent[1].bytes, feature);
    }
}

INSTANTIATE_TEST_SUITE_P(Both, ReportsOut, testing::Bool(), [](const auto& hasEndpoint) {
    return hasEndpoint.param ? "WithOutEndpoint" : "WithoutOutEndpoint";
});

TEST_F(Reports, ANumberedReportTravelsWithItsNumberAndNoOther)
{
    open({hidInterface(qrx::guest::numberedDescriptor())});
    const Bytes report{2, 20, 21, 22};
    sendQueued(*plug, 0, report);
    ASSERT_TRUE(runUntil([&] { return !log->input.empty(); }));
    EXPECT_EQ(log->input.front(), (ReceivedReport{report, 0}));
    send(kOutput, 2, report);
    send(kFeature, 2, report);
    send(kOutput, 1, report);
    send(kFeature, 1, report);
    const std::vector<SentReport> sent = plug->takeSentReports();
    ASSERT_EQ(sent.size(), 2U) << "bytes that do not begin with the report's number are refused";
    EXPECT_EQ(sent[0].bytes, report);
    EXPECT_EQ(sent[1].type, UsbReportType::feature);
    EXPECT_EQ(sent[1].reportID, 2);
    EXPECT_EQ(sent[1].bytes, report);
    EXPECT_EQ(log->sent.size(), 4U) << "the delegate is told of what is tried";
}

TEST_F(Reports, ARefusalIsReturnedFromAndTheDeviceWorksOn)
{
    open({hidInterface(plainDescriptor(8))});
    plug->answerOutput(0, Answer::stall);
    plug->answerSetReport(0, Answer::stall);
    send(kOutput, 0, pattern(8, 1));
    send(kFeature, 0, pattern(8, 2));
    EXPECT_TRUE(plug->takeSentReports().empty());
    plug->answerOutput(0, Answer::normal);
    plug->answerSetReport(0, Answer::normal);
    send(kOutput, 0, pattern(8, 3));
    send(kFeature, 0, pattern(8, 4));
    EXPECT_EQ(plug->takeSentReports().size(), 2U);
}

TEST_F(Reports, SilenceIsNotWaitedForBeyondTheKernelsFiveSeconds)
{
    open({hidInterface(plainDescriptor(8))});
    plug->answerSetReport(0, Answer::silence);
    const auto start = std::chrono::steady_clock::now();
    send(kFeature, 0, pattern(8, 1));
    const auto duration = std::chrono::steady_clock::now() - start;
    EXPECT_GT(duration, std::chrono::seconds(3)) << "it did not wait for the device";
    EXPECT_LT(duration, std::chrono::seconds(9));
    plug->answerSetReport(0, Answer::normal);
    send(kFeature, 0, pattern(8, 2));
    ASSERT_EQ(plug->takeSentReports().size(), 1U);
    sendQueued(*plug, 0, pattern(8, 3));
    EXPECT_TRUE(runUntil([&] { return log->input.size() == 1; }));
}

namespace {

Bytes numbered(std::uint32_t number)
{
    Bytes bytes(64);
    for (std::size_t place = 0; place < 4; ++place) {
        bytes[place] = static_cast<std::uint8_t>(number >> (8 * place));
    }
    return bytes;
}

std::uint32_t numberOf(const ReceivedReport& report)
{
    std::uint32_t number = 0;
    for (std::size_t place = 0; place < 4; ++place) {
        number |= std::uint32_t{report.bytes[place]} << (8 * place);
    }
    return number;
}

std::vector<std::uint32_t> numbersOf(const std::vector<ReceivedReport>& reports)
{
    std::vector<std::uint32_t> numbers;
    for (const ReceivedReport& report : reports) {
        numbers.push_back(numberOf(report));
    }
    return numbers;
}

std::vector<std::uint32_t> firstNumbers(std::uint32_t count)
{
    std::vector<std::uint32_t> numbers(count);
    std::iota(numbers.begin(), numbers.end(), 0U);
    return numbers;
}

} // namespace

TEST_F(Reports, NothingOfAFloodIsLostWhileTheApplicationKeepsUp)
{
    open({hidInterface(plainDescriptor(64))});
    constexpr std::uint32_t kReports = 3000;
    constexpr std::uint32_t kBurst = 60; // the kernel keeps 63
    for (std::uint32_t start = 0; start < kReports; start += kBurst) {
        plug->flood(0, [start](std::uint64_t index) -> std::optional<Bytes> {
            return index < kBurst ? std::optional(numbered(start + static_cast<std::uint32_t>(index))) : std::nullopt;
        });
        ASSERT_TRUE(runUntil([&] { return log->input.size() >= start + kBurst; })) << log->input.size();
    }
    EXPECT_EQ(numbersOf(log->input), firstNumbers(kReports));
}

TEST_F(Reports, WhatAStalledApplicationLosesIsTheNewestAndIsTold)
{
    open({hidInterface(plainDescriptor(64))});
    for (std::uint32_t number = 0; number < 200; ++number) {
        plug->sendInput(0, numbered(number));
    }
    ASSERT_TRUE(plug->waitUntilTaken(0));
    testing::internal::CaptureStderr();
    runWhileBusy();
    const std::string logged = testing::internal::GetCapturedStderr();
    EXPECT_EQ(numbersOf(log->input), firstNumbers(63));
    EXPECT_NE(logged.find("reports may have been lost"), std::string::npos) << logged;
    sendQueued(*plug, 0, numbered(1000));
    runWhileBusy();
    EXPECT_EQ(numberOf(log->input.back()), 1000U);
}
