#include "QrxHIDDeviceConnection.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

#include <iostream>
#include <stdexcept>

namespace {

using Bytes = std::valarray<uint8_t>;

/// Keeps, and spoils, the array that it is handed.
class ReceivingDevice : public FakeDevice {
public:
    void _handleReport(Bytes report, int interfaceNumber) override
    {
        received.push_back("[" + bytesText(report) + "] " + std::to_string(interfaceNumber));
        report = uint8_t(0);
    }
    Events received;
};

} // namespace

class QrxHIDDeviceConnectionTest : public testing::Test {
protected:
    mis::swizzler<QrxHIDDeviceConnection> connection{new FakeConnection};
    mis::swizzler<QrxDeviceTreeNode> interface {
        new PlainNode
    };
    mis::swizzler<ReceivingDevice> device{new ReceivingDevice};
    CapturedStream out{std::cout};
    CapturedStream err{std::cerr};

    void link()
    {
        interface->_setParent(device);
        connection->_setParent(interface);
    }
};

TEST_F(QrxHIDDeviceConnectionTest, WithoutAParentHasNoDeviceAndDropsReportsSilently)
{
    EXPECT_TRUE(connection->getDevice() == nullptr);
    connection->handleReport(Bytes{1, 2}, 0);
    EXPECT_EQ(out.text() + err.text(), "");
    EXPECT_EQ(connection->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceConnectionTest, FindsTheDeviceAboveItsInterface)
{
    link();
    EXPECT_TRUE(connection->getDevice() == device);
    EXPECT_EQ(device->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceConnectionTest, TheNearestDeviceWins)
{
    link();
    const mis::swizzler<FakeDevice> farther(new FakeDevice);
    device->_setParent(farther);
    EXPECT_TRUE(connection->getDevice() == device);
    device->_forgetParent(nullptr);
}

TEST_F(QrxHIDDeviceConnectionTest, HandsReportsUpUnchanged)
{
    link();
    connection->handleReport(Bytes{7, 255}, -4);
    connection->handleReport(Bytes(), 1);
    EXPECT_EQ(device->received, (Events{"[7 255] -4", "[] 1"}));
}

TEST_F(QrxHIDDeviceConnectionTest, TheDeviceGetsACopy)
{
    link();
    const Bytes bytes{7, 255};
    connection->handleReport(bytes, 0);
    EXPECT_EQ(bytesText(bytes), "7 255");
}

TEST_F(QrxHIDDeviceConnectionTest, AsksForTheDeviceThroughTheVirtualTable)
{
    class Redirecting : public FakeConnection {
    public:
        mis::swizzler<QrxHIDDevice> getDevice() const override { return target; }
        mis::swizzler<QrxHIDDevice> target;
    };
    const mis::swizzler<Redirecting> redirecting(new Redirecting);
    redirecting->target = device;
    redirecting->handleReport(Bytes{1}, 2);
    EXPECT_EQ(device->received, (Events{"[1] 2"}));
}

TEST_F(QrxHIDDeviceConnectionTest, TheDelegateMayEndConnectionAndDeviceInsideTheCall)
{
    Events events;
    mis::swizzler<FakeDevice> whole(new FakeDevice);
    auto* const delegate = new ScriptedDeviceDelegate(events);
    whole->obituary.write(events, "device");
    whole->setDelegate(delegate);
    static_cast<FakeConnection&>(*connection).obituary.write(events, "connection");
    interface->_setParent(whole);
    connection->_setParent(interface);
    delegate->onReport = [&](Bytes&, mis::swizzler<QrxHIDDevice>&) {
        connection.release();
        interface->_forgetParent(whole.get());
        whole.release();
        events.push_back("dropped");
    };
    connection.get()->handleReport(Bytes{1}, 0);
    EXPECT_EQ(events, (Events{"report [1] interface 0", "connection ends", "dropped", "device ends", "delegate ends"}));
}

TEST_F(QrxHIDDeviceConnectionTest, AnExceptionOfTheDelegatePassesThroughAndLeavesTheCountsRight)
{
    Events events;
    const mis::swizzler<FakeDevice> whole(new FakeDevice);
    auto* const delegate = new ScriptedDeviceDelegate(events);
    whole->setDelegate(delegate);
    interface->_setParent(whole);
    connection->_setParent(interface);
    delegate->onReport = [](Bytes&, mis::swizzler<QrxHIDDevice>&) { throw std::runtime_error("no"); };
    EXPECT_THROW(connection->handleReport(Bytes{1}, 0), std::runtime_error);
    EXPECT_EQ(whole->getReferenceCount(), 1U);
    EXPECT_EQ(connection->getReferenceCount(), 1U);
}

TEST_F(QrxHIDDeviceConnectionTest, OperationsThatABackendSuppliesReportThemselvesInTheBase)
{
    connection->QrxHIDDeviceConnection::open();
    connection->QrxHIDDeviceConnection::close();
    connection->QrxHIDDeviceConnection::setReport(1, 2, Bytes{3});
    EXPECT_EQ(err.text(), "virtual void QrxHIDDeviceConnection::open() is abstract\n"
                          "virtual void QrxHIDDeviceConnection::close() is abstract\n"
                          "virtual void QrxHIDDeviceConnection::setReport(unsigned int, unsigned int, "
                          "std::valarray<uint8_t>) is abstract\n");
}
