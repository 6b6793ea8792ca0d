/// @file
/// One field of one report, as the device declares it.

#ifndef QRX_HID_CAPABILITY_H
#define QRX_HID_CAPABILITY_H

#include "QrxExport.h"
#include "QrxHIDElement.h"
#include "swizzler"

#include <cstddef>
#include <cstdint>

class QrxHIDCapability;
class QrxHIDCollection;

/// A handle on a capability.
typedef mis::swizzler<QrxHIDCapability> QrxHIDCapabilityPtr;

/// A leaf of an interface's element tree: an input, output or feature field with its place, range, unit and flags.
///
/// A capability is held by the collection or interface around it and by every report that it is part of. Its answers do
/// not change after the device is built and have no side effects.
///
/// Values are unsigned 32-bit numbers throughout: a negative minimum arrives, and is printed, as its two's-complement
/// pattern (-127 as 4294967169). Cast to `int32_t` where the device declares signed values.
///
/// The operations without a meaning here are a backend's to supply; this class's own bodies write a line to standard
/// error and answer 0 or false.
class QRX_EXPORT QrxHIDCapability : public QrxHIDElement {
public:
    QrxHIDCapability();
    ~QrxHIDCapability() override;

    /// Adds "HIDCapability.minValue = " and "HIDCapability.maxValue = " with their values to the element's description.
    void _printBody(std::ostream& os, int depth, int indent) const override;

    /// Always true.
    bool isCapability() const override;

    /// The number of the report that holds the field; 0 where reports are not numbered.
    uint32_t getReportID() const override = 0;

    /// The collection directly around this capability, or an empty handle for one at the top of its interface.
    virtual mis::swizzler<QrxHIDCollection> getParentCollection() const;

    /// How many values of `getReportSize()` bits the field has.
    virtual uint32_t getReportCount() const = 0;

    /// The size of one value in bits.
    virtual size_t getReportSize() const = 0;

    /// Logical minimum, as a 32-bit pattern.
    virtual uint32_t getMinValue() const = 0;

    /// Logical maximum, as a 32-bit pattern.
    virtual uint32_t getMaxValue() const = 0;

    /// Physical minimum, as a 32-bit pattern, in the unit of `getUnit`.
    virtual uint32_t getScaledMinValue() const = 0;

    /// Physical maximum, as a 32-bit pattern, in the unit of `getUnit`.
    virtual uint32_t getScaledMaxValue() const = 0;

    /// The size of the whole element in bits, as the platform counts it.
    virtual size_t getSize() const = 0;

    /// The kind of field (input, output or feature) in the platform's own numbering, which is not that of `setReport`.
    virtual uint32_t getType() const = 0;

    /// The HID unit code.
    virtual uint32_t getUnit() const = 0;

    /// The power of ten that scales the unit, as the device gives it.
    virtual uint32_t getUnitExponent() const = 0;

    /// The main item's flags as one number.
    virtual uint32_t getFlags() const = 0;

    /// True for an array, whose values are usages, false for a variable.
    virtual bool isArray() const = 0;

    /// True when values are changes, false when they are positions.
    virtual bool isRelative() const = 0;

    /// True when physical values are not in proportion to the logical ones.
    virtual bool isNonLinear() const = 0;

    /// True when values roll over at the ends of their range.
    virtual bool isWrapping() const = 0;

    /// True when values out of range mean that there is none.
    virtual bool hasNullState() const = 0;

    /// True when the control returns to one state by itself.
    // Deliberate: spelled with one "r"; the name is part of the interface.
    virtual bool hasPreferedState() const = 0;
};

#endif
