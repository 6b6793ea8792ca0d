#include "QrxHIDCollectionImpl.h"

#include "NodeSearch.h"
#include "PropertyReading.h"
#include "QrxHIDDeviceImpl.h"
#include "QrxHIDInterfaceMac.h"

#include <vector>

using namespace qrx;

_QrxHIDCollectionImpl::_QrxHIDCollectionImpl() : _properties(nullptr) {}

_QrxHIDCollectionImpl::~_QrxHIDCollectionImpl()
{
    if (_properties != nullptr) {
        CFRelease(_properties);
        _properties = nullptr;
    }
}

int32_t _QrxHIDCollectionImpl::getInterfaceNumber() const
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface();
    return interface ? interface->getInterfaceNumber() : 0;
}

uint32_t _QrxHIDCollectionImpl::getReportID() const
{
    // The search changes nothing; the slot's signature is older than this use of it and not const.
    const std::vector<unsigned int> reportIDs = const_cast<_QrxHIDCollectionImpl*>(this)->_findReportIDs();
    // In HID a collection has no report ID, only its fields have. If all of them have the same one, that is the answer;
    // if they differ or there are none, the answer is what the platform put into the collection's dictionary.
    return reportIDs.size() == 1 ? reportIDs.front() : properties::bits(_properties, CFSTR("ReportID"));
}

uint32_t _QrxHIDCollectionImpl::getUsagePage() const
{
    return properties::bits(_properties, CFSTR("UsagePage"));
}

uint32_t _QrxHIDCollectionImpl::getUsage() const
{
    return properties::bits(_properties, CFSTR("Usage"));
}

void _QrxHIDCollectionImpl::_initWithProperties(const __CFDictionary* properties)
{
    if (properties != nullptr && _properties == nullptr) {
        // Once only: the answers of a collection must not change after its children were built from the same
        // dictionary.
        CFRetain(properties);
        _properties = properties;
    }
}

mis::swizzler<_QrxHIDInterfaceMac> _QrxHIDCollectionImpl::_getInterface() const
{
    return nearestAbove<_QrxHIDInterfaceMac, _QrxHIDCollectionImpl>(*this);
}

mis::swizzler<_QrxHIDDeviceImpl> _QrxHIDCollectionImpl::_getDevice() const
{
    return nearestAbove<_QrxHIDDeviceImpl, _QrxHIDCollectionImpl>(*this);
}
