/// The way of a report from the callback to the delegate, with steps of derived classes in it.

#include "BackendTest.h"

#include "QrxHIDDeviceConnectionImpl.h"
#include "QrxHIDInterfaceMac.h"

#include <iostream>
#include <utility>

namespace {

using testing::ElementsAre;

class CountingDevice : public _QrxHIDDeviceImpl {
public:
    void _handleReport(std::valarray<uint8_t> report, int interfaceNumber) override
    {
        ++handled;
        _QrxHIDDeviceImpl::_handleReport(std::move(report), interfaceNumber + 100);
    }

    int handled = 0;
};

class RenumberedInterface : public _QrxHIDInterfaceMac {
public:
    int32_t getInterfaceNumber() const override { return 9; }
};

/// Belongs to another device than the one above it.
class ReroutedConnection : public _QrxHIDDeviceConnectionImpl {
public:
    mis::swizzler<QrxHIDDevice> getDevice() const override { return target; }

    mis::swizzler<QrxHIDDevice> target;
};

class ReportDeliveryTest : public BackendTest {
protected:
    /// Nodes of the test's choice, each with a parent, and input by interrupt.
    void connect(_QrxHIDDeviceConnectionImpl* newConnection, _QrxHIDInterfaceMac* newInterface,
                 _QrxHIDDeviceImpl* newDevice)
    {
        device = newDevice;
        delegate = new RecordingDeviceDelegate(record);
        device->setDelegate(delegate);
        interface = newInterface;
        interface->_initWithEntry(
            platform.registry.add(nullptr, "if", kIOUSBInterfaceClassName, {{"bInterfaceNumber", 4}}).handle);
        interface->_setParent(mis::swizzler<QrxDeviceTreeNode>(device));
        connection = newConnection;
        driver = &platform.registry.add(nullptr, "hid", "IOHIDDevice", {{"MaxInputReportSize", 4}});
        connection->_initWithEntry(driver->handle);
        connection->_setParent(mis::swizzler<QrxDeviceTreeNode>(interface));
        connection->open();
    }
    void connectPlainly() { connect(new _QrxHIDDeviceConnectionImpl, new _QrxHIDInterfaceMac, new _QrxHIDDeviceImpl); }
    void deliver(std::vector<uint8_t> bytes)
    {
        platform.hid.deliver(*driver, std::move(bytes));
        platform.runLoop.run();
    }
    void TearDown() override
    {
        connection->close();
        connection.release();
        interface.release();
        device.release();
        BackendTest::TearDown();
    }

    DeviceRecord record;
    RecordingDeviceDelegate* delegate = nullptr;
    fake::FakeEntry* driver = nullptr;
    mis::swizzler<_QrxHIDDeviceImpl> device;
    mis::swizzler<_QrxHIDInterfaceMac> interface;
    mis::swizzler<_QrxHIDDeviceConnectionImpl> connection;
};

} // namespace

TEST_F(ReportDeliveryTest, TheDelegateGetsTheBytesAndTheInterfacesNumber)
{
    connectPlainly();
    deliver({1, 0xff});
    deliver({});
    EXPECT_THAT(record.lines, ElementsAre("input 4: 01 ff", "input 4: "));
}

TEST_F(ReportDeliveryTest, ADeviceOfADerivedClassHandlesItsReports)
{
    auto* counting = new CountingDevice;
    connect(new _QrxHIDDeviceConnectionImpl, new _QrxHIDInterfaceMac, counting);
    deliver({7});
    EXPECT_EQ(counting->handled, 1);
    EXPECT_THAT(record.lines, ElementsAre("input 104: 07"));
}

TEST_F(ReportDeliveryTest, AnInterfaceOfADerivedClassGivesItsNumber)
{
    connect(new _QrxHIDDeviceConnectionImpl, new RenumberedInterface, new _QrxHIDDeviceImpl);
    deliver({7});
    EXPECT_THAT(record.lines, ElementsAre("input 9: 07"));
}

TEST_F(ReportDeliveryTest, AConnectionOfADerivedClassFindsItsDevice)
{
    auto* rerouted = new ReroutedConnection;
    connect(rerouted, new _QrxHIDInterfaceMac, new _QrxHIDDeviceImpl);
    DeviceRecord otherRecord;
    rerouted->target = new _QrxHIDDeviceImpl;
    rerouted->target->setDelegate(new RecordingDeviceDelegate(otherRecord));
    deliver({7});
    EXPECT_THAT(otherRecord.lines, ElementsAre("input 4: 07"));
    EXPECT_TRUE(record.lines.empty());
    rerouted->target.release();
}

TEST_F(ReportDeliveryTest, ADeviceAboveWithoutAnInterfaceHearsOfInterface0)
{
    connectPlainly();
    connection->_setParent(mis::swizzler<QrxDeviceTreeNode>(device));
    deliver({7});
    EXPECT_THAT(record.lines, ElementsAre("input 0: 07"));
}

TEST_F(ReportDeliveryTest, ADeviceWithoutADelegatePrintsTheReport)
{
    connectPlainly();
    device->setDelegate(nullptr);
    delete delegate;
    testing::internal::CaptureStdout();
    deliver({1, 0xff});
    std::cout.flush();
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "QrxHIDDevice dispatch report: 1 255 coming from interface 4\n");
}

TEST_F(ReportDeliveryTest, TheDeviceAndItsDelegateLiveUntilTheDelegateReturns)
{
    connectPlainly();
    std::vector<std::string> inTheCall;
    _QrxHIDDeviceImpl* raw = device.get();
    record.onReport = [&, raw] {
        device.release();
        inTheCall = record.lines;
        EXPECT_FALSE(raw->isCollecting());
    };
    deliver({7});
    EXPECT_THAT(inTheCall, ElementsAre("input 4: 07"));
    EXPECT_THAT(record.lines, ElementsAre("input 4: 07", "deleted"));
    interface->_forgetParent(nullptr);
}
