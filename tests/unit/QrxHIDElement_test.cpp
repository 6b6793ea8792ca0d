#include "QrxHIDElement.h"

#include "ModelDoubles.h"

#include <gtest/gtest.h>

#include <iostream>

namespace {

/// Only what `QrxHIDElement` leaves open.
class PlainElement : public QrxHIDElement {
public:
    int32_t getInterfaceNumber() const override { return -3; }
    uint32_t getReportID() const override { return 0x80000001; }
    uint32_t getUsagePage() const override { return 0; }
    uint32_t getUsage() const override { return 0; }
};

using ElementPtr = mis::swizzler<PlainElement>;

} // namespace

TEST(QrxHIDElement, IsNeitherCollectionNorCapability)
{
    const ElementPtr element(new PlainElement);
    EXPECT_FALSE(element->isCollection());
    EXPECT_FALSE(element->isCapability());
}

TEST(QrxHIDElement, WithoutAParentHasNoDevice)
{
    const ElementPtr element(new PlainElement);
    EXPECT_TRUE(element->getDevice() == nullptr);
    EXPECT_EQ(element->getReferenceCount(), 1U);
}

TEST(QrxHIDElement, WhoseChainEndsElsewhereHasNoDevice)
{
    const ElementPtr element(new PlainElement);
    const mis::swizzler<QrxDeviceTreeNode> root(new PlainNode);
    element->_setParent(root);
    EXPECT_TRUE(element->getDevice() == nullptr);
}

TEST(QrxHIDElement, AskedWhileNobodyHoldsItSurvives)
{
    PlainElement element;
    const mis::swizzler<QrxHIDDevice> device(new FakeDevice);
    element._setParent(device);
    EXPECT_TRUE(element.getDevice() == device);
    EXPECT_EQ(element.getReferenceCount(), 0U);
}

TEST(QrxHIDElement, TheDeviceIsHeldByTheAnswerAlone)
{
    const mis::swizzler<QrxHIDDevice> device(new FakeDevice);
    const ElementPtr element(new PlainElement);
    element->_setParent(device);
    {
        const mis::swizzler<QrxHIDDevice> found = element->getDevice();
        EXPECT_EQ(device->getReferenceCount(), 2U);
    }
    EXPECT_EQ(device->getReferenceCount(), 1U);
    EXPECT_EQ(element->getReferenceCount(), 1U);
}

TEST(QrxHIDElement, PrintsInterfaceNumberSignedAndReportIDUnsigned)
{
    const ElementPtr element(new PlainElement);
    EXPECT_EQ(printed(*element), "{ object id = # VCollectable.referenceCount = 1 "
                                 "HIDElement.interfaceNumber = -3 HIDElement.reportID = 2147483649 }");
}

TEST(QrxHIDElement, OperationsThatABackendSuppliesReportThemselvesInTheBaseAndAnswer0)
{
    const PlainElement element;
    const CapturedStream err(std::cerr);
    EXPECT_EQ(element.QrxHIDElement::getInterfaceNumber(), 0);
    EXPECT_EQ(element.QrxHIDElement::getReportID(), 0U);
    EXPECT_EQ(element.QrxHIDElement::getUsagePage(), 0U);
    EXPECT_EQ(element.QrxHIDElement::getUsage(), 0U);
    EXPECT_EQ(err.text(), "virtual int32_t QrxHIDElement::getInterfaceNumber() const is abstract\n"
                          "virtual uint32_t QrxHIDElement::getReportID() const is abstract\n"
                          "virtual uint32_t QrxHIDElement::getUsagePage() const is abstract\n"
                          "virtual uint32_t QrxHIDElement::getUsage() const is abstract\n");
}
