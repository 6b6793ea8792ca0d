// A report answers from the dictionary of its input report element, one of "InputReportElements" of the driver. An ID
// that only output or feature reports use is listed there too; its size is the 8 bits of the number.

#include "QrxHIDReportImpl.h"

#include "PropertyReading.h"

using namespace qrx;

_QrxHIDReportImpl::_QrxHIDReportImpl() : _properties(nullptr) {}

_QrxHIDReportImpl::~_QrxHIDReportImpl()
{
    if (_properties != nullptr) {
        CFRelease(_properties);
        _properties = nullptr;
    }
}

uint32_t _QrxHIDReportImpl::getUsagePage() const
{
    return properties::bits(_properties, CFSTR("UsagePage"));
}

uint32_t _QrxHIDReportImpl::getUsage() const
{
    return properties::bits(_properties, CFSTR("Usage"));
}

size_t _QrxHIDReportImpl::getReportSize() const
{
    return properties::bits(_properties, CFSTR("ReportSize"));
}

int32_t _QrxHIDReportImpl::getReportType() const
{
    return properties::number(_properties, CFSTR("Type"));
}

void _QrxHIDReportImpl::_initWithProperties(const __CFDictionary* properties)
{
    if (properties != nullptr && _properties == nullptr) {
        CFRetain(properties);
        _properties = properties;
    }
}

size_t _QrxHIDReportImpl::getSize() const
{
    return properties::bits(_properties, CFSTR("Size"));
}
