// A field of a report, of which the model itself knows nothing: a backend answers from what its platform says of the
// element. The bodies below run only when a backend leaves one out. They say so on standard error instead of being
// pure, so that an application that derives a double for its tests supplies what it needs and no more.
//
// The texts of the declarations are part of the output. They are literals, because each compiler has its own spelling
// of a function's name.

#include "QrxHIDCapability.h"

#include "AbstractOperation.h"
#include "QrxHIDCollection.h"

#include <ostream>

QrxHIDCapability::QrxHIDCapability() = default;

QrxHIDCapability::~QrxHIDCapability() = default;

void QrxHIDCapability::_printBody(std::ostream& os, int depth, int indent) const
{
    QrxHIDElement::_printBody(os, depth, indent);
    os << "HIDCapability.minValue = " << getMinValue() << " ";
    os << "HIDCapability.maxValue = " << getMaxValue() << " ";
}

bool QrxHIDCapability::isCapability() const
{
    return true;
}

mis::swizzler<QrxHIDCollection> QrxHIDCapability::getParentCollection() const
{
    const mis::swizzler<QrxDeviceTreeNode> parent = _getParent();
    // A field at the top of its interface has the interface as its parent, which is no collection: then the cast gives
    // null and the answer is an empty handle.
    return mis::swizzler<QrxHIDCollection>(dynamic_cast<QrxHIDCollection*>(parent.get()));
}

uint32_t QrxHIDCapability::getReportID() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getReportID() const");
    return 0;
}

uint32_t QrxHIDCapability::getReportCount() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getReportCount() const");
    return 0;
}

size_t QrxHIDCapability::getReportSize() const
{
    reportAbstract("virtual size_t QrxHIDCapability::getReportSize() const");
    return 0;
}

uint32_t QrxHIDCapability::getMinValue() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getMinValue() const");
    return 0;
}

uint32_t QrxHIDCapability::getMaxValue() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getMaxValue() const");
    return 0;
}

uint32_t QrxHIDCapability::getScaledMinValue() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getScaledMinValue() const");
    return 0;
}

uint32_t QrxHIDCapability::getScaledMaxValue() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getScaledMaxValue() const");
    return 0;
}

size_t QrxHIDCapability::getSize() const
{
    reportAbstract("virtual size_t QrxHIDCapability::getSize() const");
    return 0;
}

uint32_t QrxHIDCapability::getType() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getType() const");
    return 0;
}

uint32_t QrxHIDCapability::getUnit() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getUnit() const");
    return 0;
}

uint32_t QrxHIDCapability::getUnitExponent() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getUnitExponent() const");
    return 0;
}

uint32_t QrxHIDCapability::getFlags() const
{
    reportAbstract("virtual uint32_t QrxHIDCapability::getFlags() const");
    return 0;
}

bool QrxHIDCapability::isArray() const
{
    reportAbstract("virtual bool QrxHIDCapability::isArray() const");
    return false;
}

bool QrxHIDCapability::isRelative() const
{
    reportAbstract("virtual bool QrxHIDCapability::isRelative() const");
    return false;
}

bool QrxHIDCapability::isNonLinear() const
{
    reportAbstract("virtual bool QrxHIDCapability::isNonLinear() const");
    return false;
}

bool QrxHIDCapability::isWrapping() const
{
    reportAbstract("virtual bool QrxHIDCapability::isWrapping() const");
    return false;
}

bool QrxHIDCapability::hasNullState() const
{
    reportAbstract("virtual bool QrxHIDCapability::hasNullState() const");
    return false;
}

bool QrxHIDCapability::hasPreferedState() const
{
    reportAbstract("virtual bool QrxHIDCapability::hasPreferedState() const");
    return false;
}
