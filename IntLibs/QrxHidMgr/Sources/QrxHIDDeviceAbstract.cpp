#include "QrxHIDDevice.h"

#include "AbstractOperation.h"

// The operations that a backend supplies. The bodies answer an explicit call of this class's own version only.

void QrxHIDDevice::open()
{
    reportAbstract("virtual void QrxHIDDevice::open()");
}

void QrxHIDDevice::close()
{
    reportAbstract("virtual void QrxHIDDevice::close()");
}

uint32_t QrxHIDDevice::getVendorID() const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getVendorID() const");
    return 0;
}

uint32_t QrxHIDDevice::getProductID() const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getProductID() const");
    return 0;
}

std::string QrxHIDDevice::getVendorName() const
{
    reportAbstract("virtual std::string QrxHIDDevice::getVendorName() const");
    return std::string();
}

std::string QrxHIDDevice::getProductName() const
{
    reportAbstract("virtual std::string QrxHIDDevice::getProductName() const");
    return std::string();
}

uint32_t QrxHIDDevice::getClass() const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getClass() const");
    return 0;
}

uint32_t QrxHIDDevice::getSubclass() const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getSubclass() const");
    return 0;
}

uint32_t QrxHIDDevice::getProtocol() const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getProtocol() const");
    return 0;
}

uint32_t QrxHIDDevice::getReleaseNumber() const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getReleaseNumber() const");
    return 0;
}

uint32_t QrxHIDDevice::getPrimaryUsagePage(int) const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getPrimaryUsagePage(int) const");
    return 0;
}

uint32_t QrxHIDDevice::getPrimaryUsage(int) const
{
    reportAbstract("virtual uint32_t QrxHIDDevice::getPrimaryUsage(int) const");
    return 0;
}

size_t QrxHIDDevice::getInputReportSize() const
{
    reportAbstract("virtual size_t QrxHIDDevice::getInputReportSize() const");
    return 0;
}

size_t QrxHIDDevice::getInputReportSize(int) const
{
    reportAbstract("virtual size_t QrxHIDDevice::getInputReportSize(int) const");
    return 0;
}

size_t QrxHIDDevice::getOutputReportSize() const
{
    reportAbstract("virtual size_t QrxHIDDevice::getOutputReportSize() const");
    return 0;
}

size_t QrxHIDDevice::getOutputReportSize(int) const
{
    reportAbstract("virtual size_t QrxHIDDevice::getOutputReportSize(int) const");
    return 0;
}

size_t QrxHIDDevice::getFeatureReportSize() const
{
    reportAbstract("virtual size_t QrxHIDDevice::getFeatureReportSize() const");
    return 0;
}

size_t QrxHIDDevice::getFeatureReportSize(int) const
{
    reportAbstract("virtual size_t QrxHIDDevice::getFeatureReportSize(int) const");
    return 0;
}

void QrxHIDDevice::_addReport(int, unsigned int, std::vector<QrxHIDCapabilityPtr>)
{
    reportAbstract("virtual void QrxHIDDevice::_addReport(int, unsigned int, "
                   "std::vector<QrxHIDCapabilityPtr, std::allocator<QrxHIDCapabilityPtr> >)");
}

size_t QrxHIDDevice::getElementCount() const
{
    reportAbstract("virtual size_t QrxHIDDevice::getElementCount() const");
    return 0;
}

QrxHIDElementPtr QrxHIDDevice::getElementAtIndex(unsigned int) const
{
    reportAbstract("virtual QrxHIDElementPtr QrxHIDDevice::getElementAtIndex(unsigned int) const");
    return QrxHIDElementPtr();
}

void QrxHIDDevice::setReport(unsigned int, unsigned int, std::valarray<uint8_t>, int)
{
    reportAbstract("virtual void QrxHIDDevice::setReport(unsigned int, unsigned int, std::valarray<uint8_t>, int)");
}
