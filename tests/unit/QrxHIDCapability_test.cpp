#include "QrxHIDCapability.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

#include <iostream>

TEST(QrxHIDCapability, ACapabilityIsACapabilityAndNoCollection)
{
    const mis::swizzler<FakeCapability> capability(new FakeCapability);
    EXPECT_TRUE(capability->isCapability());
    EXPECT_FALSE(capability->isCollection());
}

TEST(QrxHIDCapability, AtTheTopOfAnInterfaceItHasADeviceButNoParentCollection)
{
    const mis::swizzler<QrxHIDDevice> device(new FakeDevice);
    const mis::swizzler<QrxDeviceTreeNode> interface(new PlainNode);
    const mis::swizzler<FakeCapability> capability(new FakeCapability);
    interface->_setParent(device);
    capability->_setParent(interface);
    EXPECT_TRUE(capability->getParentCollection() == nullptr);
    EXPECT_TRUE(capability->getDevice() == device);
}

TEST(QrxHIDCapability, WithoutAParentItHasNoParentCollection)
{
    const mis::swizzler<FakeCapability> capability(new FakeCapability);
    EXPECT_TRUE(capability->getParentCollection() == nullptr);
}

TEST(QrxHIDCapability, PrintsNegativeLimitsAsTheirUnsignedPattern)
{
    const mis::swizzler<FakeCapability> capability(new FakeCapability(2, 7));
    capability->minValue = static_cast<uint32_t>(-1);
    capability->maxValue = static_cast<uint32_t>(-127);
    EXPECT_EQ(printed(*capability), "{ object id = # VCollectable.referenceCount = 1 HIDElement.interfaceNumber = 2 "
                                    "HIDElement.reportID = 7 HIDCapability.minValue = 4294967295 "
                                    "HIDCapability.maxValue = 4294967169 }");
}

TEST(QrxHIDCapability, OperationsThatABackendSuppliesReportThemselvesInTheBaseAndAnswer0)
{
    const FakeCapability capability(5, 5);
    const CapturedStream err(std::cerr);
    EXPECT_EQ(capability.QrxHIDCapability::getReportID(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getReportCount(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getReportSize(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getMinValue(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getMaxValue(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getScaledMinValue(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getScaledMaxValue(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getSize(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getType(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getUnit(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getUnitExponent(), 0U);
    EXPECT_EQ(capability.QrxHIDCapability::getFlags(), 0U);
    EXPECT_FALSE(capability.QrxHIDCapability::isArray());
    EXPECT_FALSE(capability.QrxHIDCapability::isRelative());
    EXPECT_FALSE(capability.QrxHIDCapability::isNonLinear());
    EXPECT_FALSE(capability.QrxHIDCapability::isWrapping());
    EXPECT_FALSE(capability.QrxHIDCapability::hasNullState());
    EXPECT_FALSE(capability.QrxHIDCapability::hasPreferedState());
    EXPECT_EQ(err.text(), "virtual uint32_t QrxHIDCapability::getReportID() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getReportCount() const is abstract\n"
                          "virtual size_t QrxHIDCapability::getReportSize() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getMinValue() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getMaxValue() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getScaledMinValue() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getScaledMaxValue() const is abstract\n"
                          "virtual size_t QrxHIDCapability::getSize() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getType() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getUnit() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getUnitExponent() const is abstract\n"
                          "virtual uint32_t QrxHIDCapability::getFlags() const is abstract\n"
                          "virtual bool QrxHIDCapability::isArray() const is abstract\n"
                          "virtual bool QrxHIDCapability::isRelative() const is abstract\n"
                          "virtual bool QrxHIDCapability::isNonLinear() const is abstract\n"
                          "virtual bool QrxHIDCapability::isWrapping() const is abstract\n"
                          "virtual bool QrxHIDCapability::hasNullState() const is abstract\n"
                          "virtual bool QrxHIDCapability::hasPreferedState() const is abstract\n");
}
