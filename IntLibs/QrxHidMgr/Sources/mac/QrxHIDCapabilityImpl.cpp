// Every answer is looked up in the element's dictionary when it is asked for. The dictionary is shared with the
// platform, so a field costs one reference and no copy; a lookup compares constant keys and allocates nothing. Trees of
// keyboards have hundreds of fields of which an application reads a few.

#include "QrxHIDCapabilityImpl.h"

#include "NodeSearch.h"
#include "PropertyReading.h"
#include "QrxHIDCollectionImpl.h"
#include "QrxHIDDeviceImpl.h"
#include "QrxHIDInterfaceMac.h"

using namespace qrx;

_QrxHIDCapabilityImpl::_QrxHIDCapabilityImpl() : _properties(nullptr) {}

_QrxHIDCapabilityImpl::~_QrxHIDCapabilityImpl()
{
    if (_properties != nullptr) {
        CFRelease(_properties);
        _properties = nullptr;
    }
}

void _QrxHIDCapabilityImpl::_printBody(std::ostream& os, int depth, int indent) const
{
    QrxHIDCapability::_printBody(os, depth, indent);
    os << "HIDCapability.cookie = " << static_cast<unsigned long>(getCookie()) << " ";
}

int32_t _QrxHIDCapabilityImpl::getInterfaceNumber() const
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface();
    return interface ? interface->getInterfaceNumber() : 0;
}

uint32_t _QrxHIDCapabilityImpl::getReportID() const
{
    return properties::bits(_properties, CFSTR("ReportID"));
}

uint32_t _QrxHIDCapabilityImpl::getUsagePage() const
{
    return properties::bits(_properties, CFSTR("UsagePage"));
}

uint32_t _QrxHIDCapabilityImpl::getUsage() const
{
    return properties::bits(_properties, CFSTR("Usage"));
}

uint32_t _QrxHIDCapabilityImpl::getReportCount() const
{
    return properties::bits(_properties, CFSTR("ReportCount"));
}

size_t _QrxHIDCapabilityImpl::getReportSize() const
{
    return properties::bits(_properties, CFSTR("ReportSize"));
}

uint32_t _QrxHIDCapabilityImpl::getMinValue() const
{
    return properties::bits(_properties, CFSTR("Min"));
}

uint32_t _QrxHIDCapabilityImpl::getMaxValue() const
{
    return properties::bits(_properties, CFSTR("Max"));
}

uint32_t _QrxHIDCapabilityImpl::getScaledMinValue() const
{
    return properties::bits(_properties, CFSTR("ScaledMin"));
}

uint32_t _QrxHIDCapabilityImpl::getScaledMaxValue() const
{
    return properties::bits(_properties, CFSTR("ScaledMax"));
}

size_t _QrxHIDCapabilityImpl::getSize() const
{
    return properties::bits(_properties, CFSTR("Size"));
}

uint32_t _QrxHIDCapabilityImpl::getType() const
{
    return properties::bits(_properties, CFSTR("Type"));
}

uint32_t _QrxHIDCapabilityImpl::getUnit() const
{
    return properties::bits(_properties, CFSTR("Unit"));
}

uint32_t _QrxHIDCapabilityImpl::getUnitExponent() const
{
    return properties::bits(_properties, CFSTR("UnitExponent"));
}

uint32_t _QrxHIDCapabilityImpl::getFlags() const
{
    return properties::bits(_properties, CFSTR("Flags"));
}

bool _QrxHIDCapabilityImpl::isArray() const
{
    return properties::flag(_properties, CFSTR("IsArray"));
}

bool _QrxHIDCapabilityImpl::isRelative() const
{
    return properties::flag(_properties, CFSTR("IsRelative"));
}

bool _QrxHIDCapabilityImpl::isNonLinear() const
{
    return properties::flag(_properties, CFSTR("IsNonLinear"));
}

bool _QrxHIDCapabilityImpl::isWrapping() const
{
    return properties::flag(_properties, CFSTR("IsWrapping"));
}

bool _QrxHIDCapabilityImpl::hasNullState() const
{
    return properties::flag(_properties, CFSTR("HasNullState"));
}

bool _QrxHIDCapabilityImpl::hasPreferedState() const
{
    // Deliberate: the key of isArray, so that the two always answer alike.
    return properties::flag(_properties, CFSTR("IsArray"));
}

void _QrxHIDCapabilityImpl::_initWithProperties(const __CFDictionary* properties)
{
    if (properties != nullptr && _properties == nullptr) {
        // The dictionary is part of a larger property object, which may be released before this field.
        CFRetain(properties);
        _properties = properties;
    }
}

mis::swizzler<_QrxHIDInterfaceMac> _QrxHIDCapabilityImpl::_getInterface() const
{
    return nearestAbove<_QrxHIDInterfaceMac, _QrxHIDCollectionImpl>(*this);
}

mis::swizzler<_QrxHIDDeviceImpl> _QrxHIDCapabilityImpl::_getDevice() const
{
    return nearestAbove<_QrxHIDDeviceImpl, _QrxHIDCollectionImpl>(*this);
}

uint32_t _QrxHIDCapabilityImpl::getCookie() const
{
    return properties::bits(_properties, CFSTR("ElementCookie"));
}
