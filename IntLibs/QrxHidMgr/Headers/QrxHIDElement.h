/// @file
/// What the parts of a device's description have in common.

#ifndef QRX_HID_ELEMENT_H
#define QRX_HID_ELEMENT_H

#include "QrxDeviceTreeNode.h"
#include "QrxExport.h"
#include "swizzler"

#include <cstdint>

class QrxHIDDevice;
class QrxHIDElement;

/// A handle on an element.
typedef mis::swizzler<QrxHIDElement> QrxHIDElementPtr;

/// A part of what a USB HID interface says about itself: a collection, which groups elements, or a capability, which is
/// one field of a report. Reports, which gather capabilities, are elements as well, but neither of the two kinds.
///
/// The parent of an element is the collection around it, or the interface for one at the top. An element lives as long
/// as a handle holds it and does not change once the device is built. Elements belong to the thread of their device.
///
/// The operations without a meaning here are a backend's to supply; this class's own bodies write a line to standard
/// error and answer 0.
class QRX_EXPORT QrxHIDElement : public QrxDeviceTreeNode {
public:
    QrxHIDElement();
    ~QrxHIDElement() override;

    /// Adds "HIDElement.interfaceNumber = " and "HIDElement.reportID = " with their values to the object's description.
    void _printBody(std::ostream& os, int depth, int indent) const override;

    /// True for a `QrxHIDCollection`.
    virtual bool isCollection() const;

    /// True for a `QrxHIDCapability`.
    virtual bool isCapability() const;

    /// The nearest device above this element, or an empty handle when the chain of parents has none. Looked up afresh
    /// on every call, at a cost that grows with the depth.
    virtual mis::swizzler<QrxHIDDevice> getDevice() const;

    /// The number of the USB interface ("bInterfaceNumber") that the element belongs to.
    virtual int32_t getInterfaceNumber() const = 0;

    /// The number of the report that the element belongs to; 0 where reports are not numbered.
    virtual uint32_t getReportID() const = 0;

    /// The HID usage page of the element's usage.
    virtual uint32_t getUsagePage() const = 0;

    /// The HID usage within its page; 0xFFFFFFFF for an array as a whole and for its places.
    virtual uint32_t getUsage() const = 0;
};

#endif
