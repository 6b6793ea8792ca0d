#include "QrxVirtualDevice.h"

#include "RecordingRegistry.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <set>
#include <sstream>
#include <stdexcept>

namespace {

using namespace qrx::platform;
using Bytes = std::vector<std::uint8_t>;

const Bytes kDescriptor{0x05, 0x01, 0x09, 0x02, 0xa1, 0x01, 0xc0};

class QrxVirtualDeviceTest : public testing::Test {
protected:
    RecordingRegistry& _registry = RecordingRegistry::emptied();
    QrxVirtualDevice _device{
        QrxVirtualIdentity(0x04d8, 0x003f).setReleaseNumber(0x0110).setProductName("Ærø").setSerialNumber("7"),
        {QrxVirtualInterface(2, {}).setName("debug"),
         QrxVirtualInterface(1, kDescriptor).setSubclass(1).setProtocol(2)}};

    const DeviceFacts& facts() const { return _registry.published.back().facts; }

    std::unique_ptr<HIDChannel> opened()
    {
        std::unique_ptr<HIDChannel> channel;
        EXPECT_EQ(Status::success, facts().interfaces[0].hid->open(channel));
        return channel;
    }

    static std::optional<Bytes> taken(HIDChannel& channel)
    {
        std::span<const std::uint8_t> report;
        if (channel.takeReport(report) != HIDChannel::Next::report) {
            return std::nullopt;
        }
        return Bytes(report.begin(), report.end());
    }
};

TEST_F(QrxVirtualDeviceTest, IsPublishedWhenPluggedWithItsInterfacesByNumber)
{
    EXPECT_FALSE(_device.isPlugged());
    EXPECT_TRUE(_registry.published.empty());
    _device.plug();
    _device.plug();
    EXPECT_TRUE(_device.isPlugged());
    ASSERT_EQ(1u, _registry.published.size()) << "plugging it again changes nothing";
    EXPECT_EQ(0x04d8, facts().vendorID);
    EXPECT_EQ(0x003f, facts().productID);
    EXPECT_EQ(0x0110, facts().releaseNumber);
    EXPECT_EQ(64, facts().maxPacketSize0);
    EXPECT_EQ(std::nullopt, facts().vendorName);
    EXPECT_EQ("Ærø", facts().productName);
    EXPECT_EQ("7", facts().serialNumber);
    ASSERT_EQ(2u, facts().interfaces.size());
    EXPECT_EQ(1, facts().interfaces[0].number);
    EXPECT_EQ(3, facts().interfaces[0].interfaceClass);
    EXPECT_EQ(2, facts().interfaces[0].interfaceProtocol);
    EXPECT_EQ(kDescriptor, facts().interfaces[0].reportDescriptor);
    EXPECT_NE(nullptr, facts().interfaces[0].hid);
    EXPECT_EQ(2, facts().interfaces[1].number);
    EXPECT_EQ("debug", facts().interfaces[1].name);
    EXPECT_EQ(nullptr, facts().interfaces[1].hid) << "no descriptor, no HID driver";
}

TEST_F(QrxVirtualDeviceTest, LeavesOnceAndComesBackAsAnotherDeviceElsewhere)
{
    _device.plug();
    const RecordingRegistry::Published first = _registry.published.back();
    _device.unplug();
    _device.unplug();
    EXPECT_EQ(std::vector<DeviceKey>{first.key}, _registry.terminated);
    _device.plug();
    ASSERT_EQ(2u, _registry.published.size());
    EXPECT_NE(first.key, _registry.published.back().key);
    EXPECT_NE(first.facts.locationID, facts().locationID);
    std::unique_ptr<HIDChannel> channel;
    EXPECT_EQ(Status::notAttached, first.facts.interfaces[0].hid->open(channel)) << "the old port stays dead";
    EXPECT_EQ(nullptr, channel);
    EXPECT_NE(nullptr, opened());
}

TEST_F(QrxVirtualDeviceTest, EachTimeItComesItHasAPlaceOfItsOwn)
{
    std::set<std::uint32_t> places;
    for (int time = 1; time <= 4; ++time) {
        _device.plug();
        places.insert(facts().locationID);
        EXPECT_EQ(places.size(), static_cast<std::size_t>(time));
        _device.unplug();
    }
}

TEST_F(QrxVirtualDeviceTest, IsUnpluggedByItsDestructor)
{
    {
        QrxVirtualDevice brief({}, {});
        brief.plug();
        QrxVirtualDevice moved(std::move(brief));
        EXPECT_TRUE(moved.isPlugged());
        EXPECT_TRUE(_registry.terminated.empty());
    }
    EXPECT_EQ(1u, _registry.terminated.size());
}

TEST(QrxVirtualIdentity, GivesBackEachThingThatWasSet)
{
    QrxVirtualIdentity identity;
    EXPECT_EQ(identity.getReleaseNumber(), 0x0100);
    identity.setVendorID(1).setProductID(2).setReleaseNumber(3).setDeviceClass(4).setDeviceSubclass(5);
    identity.setDeviceProtocol(6).setVendorName("seven").setProductName("eight").setSerialNumber("nine");
    const QrxVirtualIdentity copy = identity;
    EXPECT_EQ(copy.getVendorID(), 1);
    EXPECT_EQ(copy.getProductID(), 2);
    EXPECT_EQ(copy.getReleaseNumber(), 3);
    EXPECT_EQ(copy.getDeviceClass(), 4);
    EXPECT_EQ(copy.getDeviceSubclass(), 5);
    EXPECT_EQ(copy.getDeviceProtocol(), 6);
    EXPECT_EQ(copy.getVendorName(), "seven");
    EXPECT_EQ(copy.getProductName(), "eight");
    EXPECT_EQ(copy.getSerialNumber(), "nine");
}

TEST_F(QrxVirtualDeviceTest, ADeviceThatIsMovedStaysPluggedAndWhatItReplacesIsUnplugged)
{
    QrxVirtualIdentity identity;
    QrxVirtualDevice first(identity, {});
    identity.setProductName("second");
    QrxVirtualDevice second(identity, {});
    first.plug();
    second.plug();
    first = std::move(second);
    EXPECT_EQ(_registry.terminated.size(), 1U) << "the first device has gone with the assignment";
    EXPECT_EQ(first.getIdentity().getProductName(), "second");
    EXPECT_TRUE(first.isPlugged());
    QrxVirtualDevice& same = first;
    first = std::move(same);
    EXPECT_TRUE(first.isPlugged());
    EXPECT_EQ(_registry.terminated.size(), 1U);
}

TEST_F(QrxVirtualDeviceTest, AnObjectThatWasMovedFromIsNoDeviceUntilOneIsMovedIn)
{
    QrxVirtualDevice taker(std::move(_device));
    EXPECT_FALSE(_device.isPlugged());
    EXPECT_NO_THROW(_device.unplug());
    EXPECT_THROW(_device.plug(), std::logic_error);
    EXPECT_THROW(_device.getIdentity(), std::logic_error);
    EXPECT_THROW(_device.getOpenCount(1), std::logic_error);
    EXPECT_THROW(_device.sendInputReport(1, Bytes{1}), std::logic_error);
    EXPECT_THROW(_device.hasRoom(1), std::logic_error);
    EXPECT_THROW(_device.setSentReportHandler({}), std::logic_error);
    EXPECT_THROW(_device.setReportRequestHandler({}), std::logic_error);
    EXPECT_THROW(_device.takeSentReports(), std::logic_error);
    EXPECT_THROW(QrxRecordingPlayer(QrxRecording(), _device), std::logic_error);
    _device = std::move(taker);
    _device.plug();
    EXPECT_TRUE(_device.isPlugged());
}

TEST_F(QrxVirtualDeviceTest, InterfaceNumbersAreUniqueBytes)
{
    const auto withNumbers = [](int first, int second) {
        return std::vector<QrxVirtualInterface>{{first, {}}, {second, {}}};
    };
    EXPECT_THROW(QrxVirtualDevice({}, withNumbers(1, 1)), std::invalid_argument);
    EXPECT_THROW(QrxVirtualDevice({}, withNumbers(-1, 0)), std::invalid_argument);
    EXPECT_THROW(QrxVirtualDevice({}, withNumbers(0, 256)), std::invalid_argument);
    EXPECT_NO_THROW(QrxVirtualDevice({}, withNumbers(0, 255)));
}

TEST_F(QrxVirtualDeviceTest, InputReachesEveryoneWhoHasTheInterfaceOpenAndNobodyElse)
{
    EXPECT_FALSE(_device.sendInputReport(1, {1})) << "not plugged";
    _device.plug();
    EXPECT_FALSE(_device.sendInputReport(1, {1})) << "not open";
    const auto first = opened();
    const auto second = opened();
    EXPECT_EQ(2u, _device.getOpenCount(1));
    EXPECT_TRUE(_device.sendInputReport(1, {1, 2}));
    EXPECT_FALSE(_device.sendInputReport(2, {9})) << "not a HID interface";
    EXPECT_EQ((Bytes{1, 2}), taken(*first));
    EXPECT_EQ(std::nullopt, taken(*first));
    EXPECT_EQ((Bytes{1, 2}), taken(*second));
}

TEST_F(QrxVirtualDeviceTest, AReaderThatStallsLosesTheNewestAfterAFullQueue)
{
    _device.plug();
    const auto channel = opened();
    for (std::size_t i = 0; i < QrxVirtualDevice::kQueuedReports; ++i) {
        EXPECT_TRUE(_device.hasRoom(1));
        EXPECT_TRUE(_device.sendInputReport(1, {static_cast<std::uint8_t>(i)}));
    }
    EXPECT_FALSE(_device.hasRoom(1));
    EXPECT_FALSE(_device.sendInputReport(1, {0xff}));
    EXPECT_EQ(1u, channel->possibleLosses());
    for (std::size_t i = 0; i < QrxVirtualDevice::kQueuedReports; ++i) {
        EXPECT_EQ(Bytes{static_cast<std::uint8_t>(i)}, taken(*channel));
    }
    EXPECT_EQ(std::nullopt, taken(*channel));
    EXPECT_TRUE(_device.hasRoom(1));
}

TEST_F(QrxVirtualDeviceTest, WhatWaitsAtTheUnplugIsTakenBeforeTheChannelIsGone)
{
    _device.plug();
    const auto channel = opened();
    _device.sendInputReport(1, {5});
    _device.unplug();
    EXPECT_EQ(0u, _device.getOpenCount(1));
    EXPECT_EQ(Bytes{5}, taken(*channel));
    std::span<const std::uint8_t> report;
    EXPECT_EQ(HIDChannel::Next::gone, channel->takeReport(report));
    EXPECT_EQ(Status::notAttached, channel->setReport(ReportType::output, 0, Bytes{1}));
}

TEST_F(QrxVirtualDeviceTest, SentReportsAreKeptUntilTaken)
{
    _device.plug();
    const auto channel = opened();
    EXPECT_EQ(Status::success, channel->setReport(ReportType::output, 0, Bytes{1, 2}));
    EXPECT_EQ(Status::success, channel->setReport(ReportType::feature, 4, Bytes{4, 9}));
    const std::vector<QrxSentReport> reports = _device.takeSentReports();
    ASSERT_EQ(2u, reports.size());
    EXPECT_EQ(1, reports[0].getInterfaceNumber());
    EXPECT_EQ(1u, reports[0].getReportType());
    EXPECT_EQ((Bytes{1, 2}), reports[0].getBytes());
    EXPECT_EQ(2u, reports[1].getReportType());
    EXPECT_EQ(4u, reports[1].getReportID());
    EXPECT_TRUE(_device.takeSentReports().empty());
}

TEST_F(QrxVirtualDeviceTest, ANumberedReportThatDoesNotBeginWithItsNumberIsRefused)
{
    _device.plug();
    const auto channel = opened();
    EXPECT_EQ(Status::badArgument, channel->setReport(ReportType::output, 4, Bytes{9, 4}));
    EXPECT_EQ(Status::badArgument, channel->setReport(ReportType::output, 4, {}));
    EXPECT_TRUE(_device.takeSentReports().empty());
}

TEST_F(QrxVirtualDeviceTest, AHandlerDecidesOnSentReportsAndMayUnplugTheDevice)
{
    _device.plug();
    const auto channel = opened();
    _device.setSentReportHandler([&](const QrxSentReport& report) {
        _device.unplug();
        return report.getBytes().front() == 1;
    });
    EXPECT_EQ(Status::success, channel->setReport(ReportType::output, 0, Bytes{1}));
    EXPECT_FALSE(_device.isPlugged());
    EXPECT_EQ(Status::notAttached, channel->setReport(ReportType::output, 0, Bytes{1}));
    _device.setSentReportHandler([](const QrxSentReport&) { return false; });
    _device.plug();
    EXPECT_EQ(Status::pipeStalled, opened()->setReport(ReportType::output, 0, Bytes{1}));
}

TEST_F(QrxVirtualDeviceTest, ARequestIsAnsweredByTheLastReportSentOrRefused)
{
    _device.plug();
    const auto channel = opened();
    std::array<std::uint8_t, 2> buffer{};
    std::size_t size = 0;
    EXPECT_EQ(Status::pipeStalled, channel->getReport(ReportType::feature, 4, buffer, size));
    channel->setReport(ReportType::feature, 4, Bytes{4, 8, 15});
    EXPECT_EQ(Status::success, channel->getReport(ReportType::feature, 4, buffer, size));
    EXPECT_EQ(2u, size) << "cut to the room there is";
    EXPECT_EQ((std::array<std::uint8_t, 2>{4, 8}), buffer);
}

TEST_F(QrxVirtualDeviceTest, AHandlerAnswersRequests)
{
    _device.plug();
    const auto channel = opened();
    _device.setReportRequestHandler([](int interfaceNumber, unsigned int type, unsigned int reportID, Bytes& answer) {
        answer = {static_cast<std::uint8_t>(interfaceNumber), static_cast<std::uint8_t>(type),
                  static_cast<std::uint8_t>(reportID)};
        return reportID != 0;
    });
    std::array<std::uint8_t, 8> buffer{};
    std::size_t size = 0;
    EXPECT_EQ(Status::success, channel->getReport(ReportType::feature, 4, buffer, size));
    EXPECT_EQ((Bytes{1, 2, 4}), Bytes(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(size)));
    EXPECT_EQ(Status::pipeStalled, channel->getReport(ReportType::feature, 0, buffer, size));
}

TEST_F(QrxVirtualDeviceTest, RealDevicesAreLeftOutOnRequest)
{
    QrxVirtualDevice::setRealDevicesEnabled(false);
    EXPECT_FALSE(_registry.providersEnabled);
    QrxVirtualDevice::setRealDevicesEnabled(true);
    EXPECT_TRUE(_registry.providersEnabled);
}

TEST_F(QrxVirtualDeviceTest, IsMadeFromARecordingWithEverythingTheRecordingSays)
{
    std::istringstream text("#@ vendor-name: V\n#@ release: 0203\n#@ interface: 9 01 02\n"
                            "R: 7 05 01 09 02 a1 01 c0\nN: name\nI: 3 046d c077\n");
    QrxVirtualDevice device(QrxRecording::read(text, "x"));
    EXPECT_EQ(0x046d, device.getIdentity().getVendorID());
    device.plug();
    EXPECT_EQ("V", facts().vendorName);
    EXPECT_EQ("name", facts().productName);
    EXPECT_EQ(0x0203, facts().releaseNumber);
    EXPECT_EQ(9, facts().interfaces[0].number);
    EXPECT_EQ(kDescriptor, facts().interfaces[0].reportDescriptor);
}

} // namespace
