#pragma once

#include "QrxHIDReport.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstddef>
#include <cstdint>

/// A report that answers from the dictionary of its input report element, on every call anew. The platform lists such
/// an element for every report ID, also for one that is only sent. A report that it does not list (the unnumbered one
/// of an interface without input) has no dictionary and answers 0.
class _QrxHIDReportImpl : public QrxHIDReport {
public:
    _QrxHIDReportImpl();
    _QrxHIDReportImpl(const _QrxHIDReportImpl&) = delete;
    _QrxHIDReportImpl& operator=(const _QrxHIDReportImpl&) = delete;
    ~_QrxHIDReportImpl() override;

    uint32_t getUsagePage() const override;
    uint32_t getUsage() const override;
    /// In bits.
    size_t getReportSize() const override;
    /// The platform's element type number, not the number that setReport takes.
    int32_t getReportType() const override;

    /// Retains and keeps the dictionary. Null, and any call after the first, changes nothing.
    virtual void _initWithProperties(const __CFDictionary* properties);
    /// "Size": in bits.
    virtual size_t getSize() const;

private:
    CFDictionaryRef _properties;
};
