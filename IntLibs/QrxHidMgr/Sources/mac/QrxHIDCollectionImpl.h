#pragma once

#include "QrxHIDCollection.h"
#include "swizzler"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>

class _QrxHIDDeviceImpl;
class _QrxHIDInterfaceMac;

/// A collection that answers from its element dictionary, on every call anew. Without a dictionary everything is 0.
class _QrxHIDCollectionImpl : public QrxHIDCollection {
public:
    _QrxHIDCollectionImpl();
    _QrxHIDCollectionImpl(const _QrxHIDCollectionImpl&) = delete;
    _QrxHIDCollectionImpl& operator=(const _QrxHIDCollectionImpl&) = delete;
    ~_QrxHIDCollectionImpl() override;

    /// The number of the interface above, 0 when there is none.
    int32_t getInterfaceNumber() const override;
    /// The one report ID of all fields below; with none or several, the collection's own "ReportID".
    uint32_t getReportID() const override;
    uint32_t getUsagePage() const override;
    uint32_t getUsage() const override;

    /// Retains and keeps the dictionary. Null, and any call after the first, changes nothing.
    virtual void _initWithProperties(const __CFDictionary* properties);
    /// The interface that this collection hangs in, or empty.
    virtual mis::swizzler<_QrxHIDInterfaceMac> _getInterface() const;
    /// The device that this collection hangs in, or empty.
    virtual mis::swizzler<_QrxHIDDeviceImpl> _getDevice() const;

private:
    CFDictionaryRef _properties;
};
