/// What a connection learns of the platform besides input: that input had no room, and how opening and sending ended.

#include "BackendTest.h"

#include "QrxHIDDeviceConnectionImpl.h"
#include "QrxHIDDeviceEventInterface.h"
#include "QrxHIDInterfaceMac.h"

#include <IOKit/IOReturn.h>

#include <optional>

using fake::FakeHIDDevice;
using fake::FakeHIDQueue;
using world::Sample;

namespace {

constexpr int kInterruptSystem = 0;
constexpr int kQueueSystem = 0x1068;

/// Writes losses among the reports: "lost 0: 3".
class LossDelegate : public RecordingDeviceDelegate, public QrxHIDDeviceEventInterface {
public:
    explicit LossDelegate(DeviceRecord& record) : RecordingDeviceDelegate(record), _record(record) {}
    void inputMayBeLost(mis::swizzler<QrxHIDDevice> device, int interfaceNumber, uint64_t count) override
    {
        EXPECT_TRUE(device);
        // The record outlives the delegate, which may end with this handle.
        DeviceRecord& record = _record;
        device.release();
        record.lines.push_back("lost " + std::to_string(interfaceNumber) + ": " + std::to_string(count));
        if (onLoss) {
            const auto action = onLoss;
            action();
        }
    }

    std::function<void()> onLoss;

private:
    DeviceRecord& _record;
};

class ConnectionAnswers : public BackendTest {
protected:
    void open(int systemVersion, std::vector<Sample> samples, RecordingDeviceDelegate* delegate)
    {
        platform.systemVersion = systemVersion;
        device = deviceOf(addDevice("usb1", std::move(samples)));
        device->setDelegate(delegate);
        device->open();
    }
    mis::swizzler<_QrxHIDDeviceConnectionImpl> connection(int interfaceNumber = 0)
    {
        return device->_getInterface(interfaceNumber)->_borrowedConnection();
    }
    /// The platform's callbacks with a result of its own, as it makes them when its queue was full.
    void overrunOfInterrupt(const std::string& driver, std::uint32_t count)
    {
        FakeHIDDevice& object = *platform.hid.device(entry(driver));
        object.callback(object.target, kIOReturnOverrun, nullptr, &object.device, count);
    }
    void overrunOfQueue(const std::string& driver)
    {
        FakeHIDQueue& queue = *platform.hid.queue(entry(driver));
        queue.callout(queue.target, kIOReturnOverrun, nullptr, &queue.face);
    }
    void deliver(const std::string& driver, const fake::Bytes& bytes)
    {
        platform.hid.deliver(entry(driver), bytes);
        platform.runLoop.run();
    }

    void TearDown() override
    {
        device.release();
        BackendTest::TearDown();
    }

    DeviceRecord record;
    mis::swizzler<_QrxHIDDeviceImpl> device;
};

} // namespace

TEST_F(ConnectionAnswers, AnOverrunOfInterruptReportsIsToldWithItsCountAmongTheReports)
{
    open(kInterruptSystem, {Sample::kMouse, Sample::kPedal}, new LossDelegate(record));
    deliver("usb1-hid1", {1});
    overrunOfInterrupt("usb1-hid1", 3);
    deliver("usb1-hid1", {2});
    EXPECT_THAT(record.lines, testing::ElementsAre("input 1: 01", "lost 1: 3", "input 1: 02"));
    device->close();
}

TEST_F(ConnectionAnswers, AnOverrunOfAQueueIsToldAsOne)
{
    open(kQueueSystem, {Sample::kMouse, Sample::kPedal}, new LossDelegate(record));
    deliver("usb1-hid1", {1});
    overrunOfQueue("usb1-hid1");
    deliver("usb1-hid1", {2});
    EXPECT_THAT(record.lines, testing::ElementsAre("input 1: 01", "lost 1: 1", "input 1: 02"));
    device->close();
}

TEST_F(ConnectionAnswers, AnOverrunTakesNothingOutOfTheQueue)
{
    open(kQueueSystem, {Sample::kPedal}, new LossDelegate(record));
    platform.hid.deliver(entry("usb1-hid0"), {7});
    platform.log.clear();
    overrunOfQueue("usb1-hid0");
    EXPECT_EQ(platform.log.text(), "");
    platform.runLoop.run();
    EXPECT_THAT(record.lines, testing::ElementsAre("lost 0: 1", "input 0: 07"));
    device->close();
}

TEST_F(ConnectionAnswers, ADelegateThatDoesNotAskHearsNothingOfAnOverrun)
{
    auto* delegate = new RecordingDeviceDelegate(record);
    open(kInterruptSystem, {Sample::kPedal}, delegate);
    overrunOfInterrupt("usb1-hid0", 2);
    EXPECT_TRUE(record.lines.empty());
    device->setDelegate(nullptr);
    delete delegate; // The device has the one that it has last.
    overrunOfInterrupt("usb1-hid0", 2);
    device->close();
}

TEST_F(ConnectionAnswers, TheDeviceMayBeDroppedWhileAnOverrunIsTold)
{
    auto* delegate = new LossDelegate(record);
    open(kInterruptSystem, {Sample::kPedal}, delegate);
    std::vector<std::string> inTheCall;
    delegate->onLoss = [&] {
        device->close();
        device.release();
        inTheCall = record.lines;
    };
    overrunOfInterrupt("usb1-hid0", 1);
    EXPECT_THAT(inTheCall, testing::ElementsAre("lost 0: 1")) << "it is held until the call returns";
    EXPECT_THAT(record.lines, testing::ElementsAre("lost 0: 1", "deleted"));
}

TEST_F(ConnectionAnswers, TheAnswerToOpeningIsKeptUntilItIsTaken)
{
    device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    EXPECT_EQ(connection()->_takeResult(), std::nullopt) << "nothing was asked yet";
    platform.log.failCall("open");
    platform.hid.failure = kIOReturnExclusiveAccess;
    connection()->open();
    EXPECT_FALSE(connection()->_isOpen());
    EXPECT_EQ(connection()->_takeResult(), kIOReturnExclusiveAccess);
    EXPECT_EQ(connection()->_takeResult(), std::nullopt);
    connection()->open();
    EXPECT_TRUE(connection()->_isOpen());
    EXPECT_EQ(connection()->_takeResult(), kIOReturnSuccess);
    connection()->close();
    EXPECT_FALSE(connection()->_isOpen());
    EXPECT_EQ(connection()->_takeResult(), std::nullopt) << "closing has no answer";
}

TEST_F(ConnectionAnswers, TheAnswerToSendingIsKeptUntilItIsTaken)
{
    open(kInterruptSystem, {Sample::kPedal}, nullptr);
    connection()->_takeResult();
    platform.log.failCall("setReport");
    platform.hid.failure = kIOReturnTimeout;
    connection()->setReport(1, 0, bytesOf({1}));
    EXPECT_EQ(connection()->_takeResult(), kIOReturnTimeout);
    connection()->setReport(1, 0, bytesOf({1}));
    EXPECT_EQ(connection()->_takeResult(), kIOReturnSuccess);
    connection()->setReport(1, 0, {});
    EXPECT_EQ(connection()->_takeResult(), std::nullopt) << "nothing was sent";
    device->close();
}

TEST_F(ConnectionAnswers, WithoutADeviceInterfaceThereIsNoAnswer)
{
    platform.log.failCall("IOCreatePlugInInterfaceForService");
    device = deviceOf(addDevice("usb1", {Sample::kPedal}));
    connection()->open();
    connection()->setReport(1, 0, bytesOf({1}));
    EXPECT_EQ(connection()->_takeResult(), std::nullopt);
}
