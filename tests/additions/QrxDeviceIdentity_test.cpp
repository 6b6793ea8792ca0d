#include "QrxDeviceIdentity.h"

#include "AdditionsTest.h"

#include <stdexcept>

namespace {

class Identity : public AdditionsTest {
protected:
    /// All devices of these cases are of one kind.
    static QrxVirtualDevice makeTwin(const std::string& serialNumber)
    {
        return {QrxVirtualIdentity(0x1209, 0x0001)
                    .setReleaseNumber(0x0203)
                    .setVendorName("Köln")
                    .setProductName("twin")
                    .setSerialNumber(serialNumber),
                {QrxVirtualInterface(0, plainDescriptor()).setName("keys"), QrxVirtualInterface(2, {}).setName("ear €"),
                 QrxVirtualInterface(5, numberedDescriptor())}};
    }
    DeviceHandle last() const { return _tree->getDeviceAtIndex(_tree->getHIDDeviceCount() - 1); }
    QrxDeviceIdentity plugged(QrxVirtualDevice& device)
    {
        device.plug();
        _tree->populate(0, 0);
        return QrxDeviceIdentity(*last());
    }
    void SetUp() override { _tree = makeTree(); }
};

TEST_F(Identity, TellsWhatTheDeviceAndTheBusSay)
{
    QrxVirtualDevice twin = makeTwin("0042");
    const QrxDeviceIdentity identity = plugged(twin);
    EXPECT_EQ(0x1209u, identity.getVendorID());
    EXPECT_EQ(0x0001u, identity.getProductID());
    EXPECT_EQ(0x0203u, identity.getReleaseNumber());
    EXPECT_EQ("Köln", identity.getVendorName());
    EXPECT_EQ("twin", identity.getProductName());
    EXPECT_EQ("0042", identity.getSerialNumber());
    EXPECT_EQ(0u, identity.getPortChain().find("virtual-"));
    EXPECT_EQ(0u, identity.getBusNumber());
    EXPECT_EQ(0xFEu, identity.getLocationID() >> 24);
    EXPECT_EQ(QrxUsbSpeed::high, identity.getSpeed());
    EXPECT_TRUE(identity.isVirtual());
}

TEST_F(Identity, TellsOfEachInterface)
{
    QrxVirtualDevice twin = makeTwin("");
    const QrxDeviceIdentity identity = plugged(twin);
    ASSERT_EQ(3u, identity.getInterfaceCount());
    EXPECT_EQ(0, identity.getInterfaceNumber(0));
    EXPECT_EQ(2, identity.getInterfaceNumber(1));
    EXPECT_EQ(5, identity.getInterfaceNumber(2));
    EXPECT_THROW(identity.getInterfaceNumber(3), std::out_of_range);
    EXPECT_EQ("keys", identity.getInterfaceName(0));
    EXPECT_EQ("ear €", identity.getInterfaceName(2));
    EXPECT_EQ("", identity.getInterfaceName(5));
    EXPECT_EQ("", identity.getInterfaceName(7));
    EXPECT_EQ(plainDescriptor(), identity.getReportDescriptor(0));
    EXPECT_TRUE(identity.getReportDescriptor(2).empty());
    EXPECT_EQ(numberedDescriptor(), identity.getReportDescriptor(5));
    EXPECT_EQ("", identity.getNodePath(0));
}

TEST_F(Identity, OfTwinsDiffersAndOfAReturningOneDoesNot)
{
    QrxVirtualDevice first = makeTwin("");
    QrxVirtualDevice second = makeTwin("");
    const QrxDeviceIdentity firstIdentity = plugged(first);
    const QrxDeviceIdentity secondIdentity = plugged(second);
    EXPECT_NE(firstIdentity, secondIdentity);
    first.unplug();
    _tree = makeTree();
    EXPECT_EQ(firstIdentity, plugged(first));
    EXPECT_NE(firstIdentity.getAddress(), QrxDeviceIdentity(*last()).getAddress());
}

TEST_F(Identity, OfAnotherSerialNumberIsAnother)
{
    QrxVirtualDevice first = makeTwin("1");
    QrxVirtualDevice second = makeTwin("2");
    EXPECT_NE(plugged(first), plugged(second));
}

TEST_F(Identity, SelectsADevice)
{
    QrxVirtualDevice first = makeTwin("1");
    QrxVirtualDevice second = makeTwin("2");
    QrxVirtualDevice third = makeTwin("");
    plugged(first);
    const QrxDeviceIdentity wanted = plugged(second);
    const DeviceHandle device = last();
    plugged(third);
    EXPECT_EQ(device, QrxFindDevice(*_tree, wanted));
    EXPECT_EQ(device, QrxFindDeviceBySerialNumber(*_tree, "2"));
    EXPECT_EQ(device, QrxFindDeviceAtPort(*_tree, wanted.getPortChain()));
    EXPECT_FALSE(QrxFindDevice(*_tree, QrxDeviceIdentity()));
    EXPECT_FALSE(QrxFindDeviceBySerialNumber(*_tree, "3"));
    EXPECT_FALSE(QrxFindDeviceBySerialNumber(*_tree, ""));
    EXPECT_FALSE(QrxFindDeviceAtPort(*_tree, ""));
}

TEST_F(Identity, StaysWhenTheDeviceHasGone)
{
    QrxDeviceIdentity identity;
    {
        QrxVirtualDevice twin = makeTwin("0042");
        identity = plugged(twin);
        _tree = {};
    }
    EXPECT_EQ("0042", identity.getSerialNumber());
    EXPECT_EQ("keys", identity.getInterfaceName(0));
}

TEST_F(Identity, OfNothingIsEmpty)
{
    const QrxDeviceIdentity none;
    EXPECT_EQ(none, QrxDeviceIdentity());
    EXPECT_EQ("", none.getPortChain());
    EXPECT_EQ(QrxUsbSpeed::unknown, none.getSpeed());
    EXPECT_EQ(0u, none.getInterfaceCount());
}

} // namespace
