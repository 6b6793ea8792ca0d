#pragma once

#include "QrxHIDCapability.h"
#include "swizzler"

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>
#include <ostream>

class _QrxHIDDeviceImpl;
class _QrxHIDInterfaceMac;

/// A field that answers from its element dictionary, on every call anew. Without a dictionary, and for an absent key or
/// a value of another type, everything is 0 or false.
class _QrxHIDCapabilityImpl : public QrxHIDCapability {
public:
    _QrxHIDCapabilityImpl();
    _QrxHIDCapabilityImpl(const _QrxHIDCapabilityImpl&) = delete;
    _QrxHIDCapabilityImpl& operator=(const _QrxHIDCapabilityImpl&) = delete;
    ~_QrxHIDCapabilityImpl() override;

    void _printBody(std::ostream& os, int depth, int indent) const override;
    /// The number of the interface above, 0 when there is none.
    int32_t getInterfaceNumber() const override;
    uint32_t getReportID() const override;
    uint32_t getUsagePage() const override;
    uint32_t getUsage() const override;
    uint32_t getReportCount() const override;
    size_t getReportSize() const override;
    uint32_t getMinValue() const override;
    uint32_t getMaxValue() const override;
    uint32_t getScaledMinValue() const override;
    uint32_t getScaledMaxValue() const override;
    size_t getSize() const override;
    /// The platform's element type: 1 and 2 input, 129 output, 257 feature.
    uint32_t getType() const override;
    uint32_t getUnit() const override;
    uint32_t getUnitExponent() const override;
    uint32_t getFlags() const override;
    bool isArray() const override;
    bool isRelative() const override;
    bool isNonLinear() const override;
    bool isWrapping() const override;
    bool hasNullState() const override;
    /// The same answer as isArray.
    bool hasPreferedState() const override;

    /// Retains and keeps the dictionary. Null, and any call after the first, changes nothing.
    virtual void _initWithProperties(const __CFDictionary* properties);
    /// The interface that this field hangs in, or empty.
    virtual mis::swizzler<_QrxHIDInterfaceMac> _getInterface() const;
    /// The device that this field hangs in, or empty.
    virtual mis::swizzler<_QrxHIDDeviceImpl> _getDevice() const;
    /// The number by which the driver's queues know the element.
    virtual uint32_t getCookie() const;

private:
    CFDictionaryRef _properties;
};
