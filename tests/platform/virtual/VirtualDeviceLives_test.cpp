/// A virtual device that is plugged again while channels of its earlier life are still there, and two interfaces of one
/// device.

#include "QrxVirtualDevice.h"

#include "RecordingRegistry.h"

#include <poll.h>

#include <gtest/gtest.h>

#include <array>

namespace {

using namespace qrx::platform;
using Bytes = std::vector<std::uint8_t>;

const Bytes kDescriptor{0x05, 0x01, 0x09, 0x02, 0xa1, 0x01, 0xc0};

class VirtualDeviceLives : public testing::Test {
protected:
    static QrxVirtualInterface interface(int number) { return {number, kDescriptor}; }

    std::unique_ptr<HIDChannel> opened(std::size_t index)
    {
        std::unique_ptr<HIDChannel> channel;
        EXPECT_EQ(Status::success, _registry.published.back().facts.interfaces[index].hid->open(channel));
        return channel;
    }

    static HIDChannel::Next next(HIDChannel& channel)
    {
        std::span<const std::uint8_t> report;
        return channel.takeReport(report);
    }

    /// The bytes as text, or "refused".
    static std::string answer(HIDChannel& channel, ReportType type, std::uint32_t reportID)
    {
        std::array<std::uint8_t, 8> buffer{};
        std::size_t size = 0;
        if (channel.getReport(type, reportID, buffer, size) != Status::success) {
            return "refused";
        }
        return {buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size)};
    }

    RecordingRegistry& _registry = RecordingRegistry::emptied();
    QrxVirtualDevice _device{{}, {interface(3), interface(1), interface(2)}};
};

TEST_F(VirtualDeviceLives, AChannelOfBeforeTheReplugReachesNobodyAndHearsNothing)
{
    _device.plug();
    auto before = opened(0);
    _device.unplug();
    _device.plug();
    const auto after = opened(0);
    EXPECT_EQ(Status::notAttached, before->setReport(ReportType::output, 0, Bytes{1}));
    EXPECT_TRUE(_device.takeSentReports().empty());
    EXPECT_EQ(Status::success, after->setReport(ReportType::feature, 0, Bytes{'x'}));
    std::array<std::uint8_t, 8> buffer{};
    std::size_t size = 0;
    EXPECT_EQ(Status::notAttached, before->getReport(ReportType::feature, 0, buffer, size));
    EXPECT_EQ(1u, _device.getOpenCount(1));
    EXPECT_TRUE(_device.sendInputReport(1, {5}));
    EXPECT_EQ(HIDChannel::Next::gone, next(*before));
    before.reset();
    EXPECT_EQ(1u, _device.getOpenCount(1)) << "the end of the old channel is not that of the new one";
    EXPECT_EQ(HIDChannel::Next::report, next(*after));
    EXPECT_EQ(HIDChannel::Next::empty, next(*after));
}

TEST_F(VirtualDeviceLives, WhatHasLeftCannotBeOpenedOrAskedBeforeItComesBackEither)
{
    _device.plug();
    const auto before = opened(0);
    before->setReport(ReportType::feature, 0, Bytes{'x'});
    _device.takeSentReports();
    _device.unplug();
    std::unique_ptr<HIDChannel> channel;
    EXPECT_EQ(Status::notAttached, _registry.published.back().facts.interfaces[0].hid->open(channel));
    EXPECT_EQ(nullptr, channel);
    EXPECT_EQ(Status::notAttached, before->setReport(ReportType::output, 0, Bytes{1}));
    EXPECT_EQ("refused", answer(*before, ReportType::feature, 0));
    EXPECT_TRUE(_device.takeSentReports().empty());
}

TEST_F(VirtualDeviceLives, AnOpenChannelIsCountedUntilItEnds)
{
    _device.plug();
    auto first = opened(0);
    auto second = opened(0);
    const auto other = opened(1);
    first.reset();
    EXPECT_EQ(1u, _device.getOpenCount(1));
    EXPECT_TRUE(_device.sendInputReport(1, {5}));
    EXPECT_EQ(HIDChannel::Next::report, next(*second));
    second.reset();
    EXPECT_EQ(0u, _device.getOpenCount(1));
    EXPECT_EQ(1u, _device.getOpenCount(2));
    EXPECT_FALSE(_device.sendInputReport(1, {5}));
}

TEST_F(VirtualDeviceLives, InterfacesAreSortedByNumberAndEachHasItsOwnReports)
{
    _device.plug();
    const auto& interfaces = _registry.published.back().facts.interfaces;
    ASSERT_EQ(3u, interfaces.size());
    EXPECT_EQ(1, interfaces[0].number);
    EXPECT_EQ(2, interfaces[1].number);
    EXPECT_EQ(3, interfaces[2].number);
    EXPECT_EQ(1, interfaces[2].endpointCount);
    EXPECT_EQ(0xFEU, _registry.published.back().facts.locationID >> 24) << "the virtual bus";
    const auto first = opened(0);
    const auto second = opened(1);
    EXPECT_TRUE(_device.sendInputReport(2, {5}));
    EXPECT_EQ(HIDChannel::Next::empty, next(*first));
    EXPECT_EQ(HIDChannel::Next::report, next(*second));
}

TEST_F(VirtualDeviceLives, TheRoomOfOneInterfaceIsNotThatOfAnother)
{
    _device.plug();
    const auto first = opened(0);
    const auto second = opened(1);
    for (std::size_t count = 0; count < QrxVirtualDevice::kQueuedReports; ++count) {
        EXPECT_TRUE(_device.hasRoom(1));
        _device.sendInputReport(1, {1});
    }
    EXPECT_FALSE(_device.hasRoom(1));
    EXPECT_TRUE(_device.hasRoom(2));
    const auto another = opened(0);
    EXPECT_FALSE(_device.hasRoom(1)) << "one of its readers has none";
    EXPECT_FALSE(_device.sendInputReport(1, {2})) << "one of its readers did not take it";
    EXPECT_EQ(HIDChannel::Next::report, next(*another));
    EXPECT_EQ(1u, first->possibleLosses());
    EXPECT_EQ(0u, second->possibleLosses());
    EXPECT_EQ(0u, another->possibleLosses());
}

TEST_F(VirtualDeviceLives, TheDescriptorIsNextAfterTheLastReportOfAFetch)
{
    _device.plug();
    const auto channel = opened(0);
    _device.sendInputReport(1, {1});
    _device.sendInputReport(1, {2});
    EXPECT_EQ(HIDChannel::Next::report, next(*channel));
    EXPECT_FALSE(channel->isDescriptorNext());
    _device.sendInputReport(1, {3});
    EXPECT_EQ(HIDChannel::Next::report, next(*channel));
    EXPECT_TRUE(channel->isDescriptorNext());
    pollfd poll{channel->descriptor(), POLLIN, 0};
    EXPECT_EQ(1, ::poll(&poll, 1, 0)) << "the descriptor announces what came after the fetch";
    EXPECT_EQ(HIDChannel::Next::report, next(*channel));
    EXPECT_EQ(HIDChannel::Next::empty, next(*channel));
    EXPECT_FALSE(channel->isDescriptorNext());
}

TEST_F(VirtualDeviceLives, TheLastReportIsKeptByInterfaceTypeAndNumber)
{
    _device.plug();
    const auto first = opened(0);
    const auto second = opened(1);
    first->setReport(ReportType::feature, 0, Bytes{'a'});
    first->setReport(ReportType::output, 0, Bytes{'b'});
    second->setReport(ReportType::feature, 0, Bytes{'c'});
    first->setReport(ReportType::feature, 4, Bytes{4, 'd'});
    EXPECT_EQ("a", answer(*first, ReportType::feature, 0));
    EXPECT_EQ("b", answer(*first, ReportType::output, 0));
    EXPECT_EQ("c", answer(*second, ReportType::feature, 0));
    EXPECT_EQ("refused", answer(*second, ReportType::output, 0));
    EXPECT_EQ("\4d", answer(*first, ReportType::feature, 4));
    first->setReport(ReportType::feature, 0, Bytes{'e'});
    EXPECT_EQ("e", answer(*first, ReportType::feature, 0));
    EXPECT_EQ(5u, _device.takeSentReports().size());
    EXPECT_TRUE(_device.takeSentReports().empty());
}

TEST_F(VirtualDeviceLives, WithoutItsHandlersADeviceKeepsAndAnswersAgain)
{
    _device.plug();
    const auto channel = opened(0);
    _device.setSentReportHandler([](const QrxSentReport&) { return false; });
    _device.setReportRequestHandler([](int, unsigned int, unsigned int, Bytes&) { return false; });
    EXPECT_EQ(Status::pipeStalled, channel->setReport(ReportType::feature, 0, Bytes{'a'}));
    EXPECT_EQ("refused", answer(*channel, ReportType::feature, 0));
    _device.setSentReportHandler({});
    _device.setReportRequestHandler({});
    EXPECT_EQ("a", answer(*channel, ReportType::feature, 0)) << "it has come, if only to be refused";
    EXPECT_TRUE(_device.takeSentReports().empty());
    EXPECT_EQ(Status::success, channel->setReport(ReportType::feature, 0, Bytes{'b'}));
    EXPECT_EQ("b", answer(*channel, ReportType::feature, 0));
    EXPECT_EQ(1u, _device.takeSentReports().size());
}

} // namespace
