#include "QrxHIDElement.h"

#include "AbstractOperation.h"
#include "NodeSearch.h"
#include "QrxHIDDevice.h"

#include <ostream>

QrxHIDElement::QrxHIDElement() = default;

QrxHIDElement::~QrxHIDElement() = default;

void QrxHIDElement::_printBody(std::ostream& os, int depth, int indent) const
{
    // The tree node between has nothing of its own to print.
    mis::VCollectable<unsigned int>::_printBody(os, depth, indent);
    os << "HIDElement.interfaceNumber = " << getInterfaceNumber() << " ";
    os << "HIDElement.reportID = " << getReportID() << " ";
}

// Two questions, not one kind: a derived class may be both or neither, and callers ask each by itself.
bool QrxHIDElement::isCollection() const
{
    return false;
}

bool QrxHIDElement::isCapability() const
{
    return false;
}

mis::swizzler<QrxHIDDevice> QrxHIDElement::getDevice() const
{
    return findNearestDevice(*this);
}

int32_t QrxHIDElement::getInterfaceNumber() const
{
    reportAbstract("virtual int32_t QrxHIDElement::getInterfaceNumber() const");
    return 0;
}

uint32_t QrxHIDElement::getReportID() const
{
    reportAbstract("virtual uint32_t QrxHIDElement::getReportID() const");
    return 0;
}

uint32_t QrxHIDElement::getUsagePage() const
{
    reportAbstract("virtual uint32_t QrxHIDElement::getUsagePage() const");
    return 0;
}

uint32_t QrxHIDElement::getUsage() const
{
    reportAbstract("virtual uint32_t QrxHIDElement::getUsage() const");
    return 0;
}
