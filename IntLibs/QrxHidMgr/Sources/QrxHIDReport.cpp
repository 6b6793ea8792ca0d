#include "QrxHIDReport.h"

#include "AbstractOperation.h"
#include "BoundsTesting.h"

#include <ostream>

QrxHIDReport::QrxHIDReport() : _interfaceNumber(0), _reportID(0) {}

QrxHIDReport::~QrxHIDReport()
{
    // One by one, since the order is promised and that of the vector's destructor is not.
    for (QrxHIDCapabilityPtr& capability : _capabilities) {
        capability.release();
    }
}

void QrxHIDReport::_printBody(std::ostream& os, int depth, int indent) const
{
    QrxHIDElement::_printBody(os, depth, indent);
    os << "HIDReport.reportSize = " << static_cast<unsigned long>(getReportSize()) << " ";
    // Deliberate: rounded down, so that 12 bits are 1 byte and 7 bits are 0.
    os << "HIDReport.reportByteSize = " << static_cast<unsigned long>(getReportSize() >> 3) << " ";
    os << "HIDReport.reportType = " << getReportType() << " ";
}

int32_t QrxHIDReport::getInterfaceNumber() const
{
    return _interfaceNumber;
}

uint32_t QrxHIDReport::getReportID() const
{
    return _reportID;
}

void QrxHIDReport::_setInterfaceNumber(int interfaceNumber)
{
    _interfaceNumber = interfaceNumber;
}

void QrxHIDReport::_setReportID(unsigned int reportID)
{
    _reportID = reportID;
}

size_t QrxHIDReport::getReportSize() const
{
    reportAbstract("virtual size_t QrxHIDReport::getReportSize() const");
    return 0;
}

int32_t QrxHIDReport::getReportType() const
{
    reportAbstract("virtual int32_t QrxHIDReport::getReportType() const");
    return -1;
}

size_t QrxHIDReport::getCapabilityCount() const
{
    return _capabilities.size();
}

QrxHIDCapabilityPtr QrxHIDReport::getCapabilityAtIndex(unsigned int index)
{
    return entryAt(_capabilities, index);
}

void QrxHIDReport::_addCapabilities(const std::vector<QrxHIDCapabilityPtr>& capabilities)
{
    _capabilities.reserve(_capabilities.size() + capabilities.size());
    for (const QrxHIDCapabilityPtr& capability : capabilities) {
        if (capability) {
            _capabilities.push_back(capability);
        }
    }
}
