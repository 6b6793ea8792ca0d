/// Requests to a device that is silent, refuses, or leaves meanwhile.

#include "Linux/LinuxProvider.h"
#include "RecordingSink.h"
#include "library/Plugs.h"

#include "rig_tests/Descriptors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

namespace qrx::platform {
namespace {

using guest::Answer;
using guest::Bytes;

constexpr std::uint8_t kGetReport = 0x01;
constexpr std::uint8_t kSetReport = 0x09;

/// One device with its interface open.
class Requests : public testing::Test {
protected:
    Requests()
    {
        guest::plugWhole(device);
        provider->refresh(sink);
        const auto& devices = sink.devices();
        EXPECT_EQ(devices.size(), 1U);
        EXPECT_EQ(devices.begin()->second.interfaces.at(0).hid->open(channel), Status::success);
        device.takeControlRequests();
    }
    ~Requests() override
    {
        channel.reset();
        device.unplug();
        EXPECT_TRUE(guest::waitUntilBusIsEmpty());
    }

    static std::vector<guest::UsbInterface> interfaces()
    {
        guest::UsbInterface hid;
        hid.reportDescriptor = guest::plainDescriptor(8);
        return {hid};
    }
    Status set(ReportType type) { return channel->setReport(type, 0, Bytes(8)); }
    Status get(ReportType type)
    {
        Bytes buffer(8);
        std::size_t size = 0;
        return channel->getReport(type, 0, buffer, size);
    }
    /// Pulls the plug once the kernel has made such a request.
    std::thread pullAt(std::uint8_t request)
    {
        return std::thread([this, request] {
            EXPECT_TRUE(guest::waitUntil([&] {
                const auto requests = device.takeControlRequests();
                return std::any_of(requests.begin(), requests.end(),
                                   [&](const guest::SetupPacket& one) { return one.request == request; });
            }));
            device.unplug();
        });
    }
    HIDChannel::Next last()
    {
        std::span<const std::uint8_t> report;
        HIDChannel::Next next = HIDChannel::Next::empty;
        guest::waitUntil([&] {
            next = channel->takeReport(report);
            return next == HIDChannel::Next::gone;
        });
        return next;
    }

    guest::VhciDevice device{guest::UsbIdentity{}, interfaces()};
    test::RecordingSink sink;
    std::unique_ptr<Provider> provider = makeLinuxProvider();
    std::unique_ptr<HIDChannel> channel;
};

TEST_F(Requests, ToADeviceThatStallsAreAnsweredSo)
{
    device.answerOutput(0, Answer::stall);
    device.answerSetReport(0, Answer::stall);
    device.answerGetReport(0, Answer::stall);
    for (const ReportType type : {ReportType::input, ReportType::output, ReportType::feature}) {
        EXPECT_EQ(set(type), Status::pipeStalled) << static_cast<int>(type);
        EXPECT_EQ(get(type), Status::pipeStalled) << static_cast<int>(type);
    }
}

TEST_F(Requests, ForAReportEndWithAnErrorWhenTheDeviceLeavesMeanwhile)
{
    device.answerGetReport(0, Answer::silence);
    std::thread puller = pullAt(kGetReport);
    EXPECT_NE(get(ReportType::feature), Status::success);
    puller.join();
    EXPECT_EQ(last(), HIDChannel::Next::gone);
    EXPECT_EQ(get(ReportType::feature), Status::notAttached);
}

TEST_F(Requests, ThatSendAReportEndWithAnErrorWhenTheDeviceLeavesMeanwhile)
{
    device.answerSetReport(0, Answer::silence);
    std::thread puller = pullAt(kSetReport);
    EXPECT_NE(set(ReportType::feature), Status::success);
    puller.join();
    EXPECT_EQ(last(), HIDChannel::Next::gone);
    EXPECT_EQ(set(ReportType::feature), Status::notAttached);
}

TEST_F(Requests, ToADeviceThatHasLeftAllFail)
{
    guest::sendQueued(device, 0, Bytes(8, 5));
    guest::pullWhole(device);
    for (const ReportType type : {ReportType::input, ReportType::output, ReportType::feature}) {
        EXPECT_EQ(set(type), Status::notAttached) << static_cast<int>(type);
        EXPECT_EQ(get(type), Status::notAttached) << static_cast<int>(type);
    }
    std::span<const std::uint8_t> report;
    ASSERT_EQ(channel->takeReport(report), HIDChannel::Next::report) << "what was queued is still there";
    EXPECT_EQ(Bytes(report.begin(), report.end()), Bytes(8, 5));
    EXPECT_EQ(last(), HIDChannel::Next::gone);
}

} // namespace
} // namespace qrx::platform
