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
/// An array, whose values are usages (the pressed keys of a keyboard), is several capabilities: a head for the array as
/// a whole, a slot for each of its places if it has more than one, and a selector of one bit for each usage that it can
/// show. Head and slots have the usage 0xFFFFFFFF, selectors have their own. A usage that stands for several values is
/// one capability with their count, followed, for counts up to 32, by one capability for each value.
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

    /// How many values of `getReportSize()` bits the field has: 1, or more for the head of an array and for a usage
    /// that stands for several values.
    virtual uint32_t getReportCount() const = 0;

    /// The size of one value in bits; 1 for a usage that an array can show.
    virtual size_t getReportSize() const = 0;

    /// Logical minimum, as a 32-bit pattern. 0 for a one-bit variable and for a usage that an array can show.
    virtual uint32_t getMinValue() const = 0;

    /// Logical maximum, as a 32-bit pattern. 1 for a one-bit variable and for a usage that an array can show.
    virtual uint32_t getMaxValue() const = 0;

    /// Physical minimum, as a 32-bit pattern, in the unit of `getUnit`; the logical one where the device declares no
    /// physical range that increases.
    virtual uint32_t getScaledMinValue() const = 0;

    /// Physical maximum, as a 32-bit pattern, in the unit of `getUnit`; the logical one where the device declares no
    /// physical range that increases.
    virtual uint32_t getScaledMaxValue() const = 0;

    /// The size of the whole element in bits: `getReportSize()` times `getReportCount()`.
    virtual size_t getSize() const = 0;

    /// The kind of field in the platform's own numbering:
    ///
    /// | value | kind |
    /// |---|---|
    /// | 1 | input, a variable of more than one bit |
    /// | 2 | input, a variable of one bit, or anything of an array |
    /// | 129 | output |
    /// | 257 | feature |
    // Deliberate: not the numbering that `setReport` takes.
    virtual uint32_t getType() const = 0;

    /// The HID unit code; 0 for everything of an array.
    virtual uint32_t getUnit() const = 0;

    /// The power of ten that scales the unit, as the device wrote it, extended from the item's own size to 32 bits; 0
    /// for everything of an array.
    // Deliberate: a nibble is not decoded. -2 is 14 where the device wrote the code of HID 1.11, and 4294967294 where
    // it wrote a byte of -2; 8 to 15 stand for -8 to -1.
    virtual uint32_t getUnitExponent() const = 0;

    /// The main item's data as one number: 0x001 constant, 0x002 variable (clear: array), 0x004 relative, 0x008 wraps,
    /// 0x010 not linear, 0x020 no preferred state, 0x040 has a null state, 0x080 volatile, 0x100 buffered bytes.
    virtual uint32_t getFlags() const = 0;

    /// True for everything of an array (its head, its slots and the usages it can show), false for a variable.
    virtual bool isArray() const = 0;

    /// True when values are changes, false when they are positions.
    virtual bool isRelative() const = 0;

    /// True when physical values are not in proportion to the logical ones.
    virtual bool isNonLinear() const = 0;

    /// True when values roll over at the ends of their range.
    virtual bool isWrapping() const = 0;

    /// True when values out of range mean that there is none.
    virtual bool hasNullState() const = 0;

    /// The same as `isArray`, which says nothing of a preferred state. Whether the control returns to one state by
    /// itself is bit 0x020 of `getFlags`: clear when it does.
    // Deliberate: the answer, and the name with one "r"; both are part of the interface.
    virtual bool hasPreferedState() const = 0;
};

#endif
