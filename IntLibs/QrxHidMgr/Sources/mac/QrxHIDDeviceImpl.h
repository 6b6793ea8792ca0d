#pragma once

#include "QrxHIDDevice.h"
#include "QrxHIDInterfaceMac.h"
#include "swizzler"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <ostream>
#include <string>
#include <valarray>
#include <vector>

/// One USB device: its registry entry (class kIOUSBDeviceClassName), the properties as they were when it was found, and
/// its interfaces.
///
/// Made by the tree, which offers it to its list after _initWithEntry. What concerns one interface is routed to the
/// first interface with that number; without one the answer is 0 and nothing happens. What concerns the whole device is
/// combined over all interfaces, in the order in which the registry lists them.
class _QrxHIDDeviceImpl : public QrxHIDDevice {
public:
    _QrxHIDDeviceImpl();
    _QrxHIDDeviceImpl(const _QrxHIDDeviceImpl&) = delete;
    _QrxHIDDeviceImpl& operator=(const _QrxHIDDeviceImpl&) = delete;
    /// Does not close first: close before the last handle goes.
    ~_QrxHIDDeviceImpl() override;

    using QrxHIDDevice::_addReport;

    void _printBody(std::ostream& os, int depth, int indent) const override;
    void open() override;
    void close() override;
    uint32_t getVendorID() const override;
    uint32_t getProductID() const override;
    /// UTF-8, "" if absent. A name outside ASCII may read as "" where the platform has to convert it.
    std::string getVendorName() const override;
    std::string getProductName() const override;
    uint32_t getClass() const override;
    uint32_t getSubclass() const override;
    uint32_t getProtocol() const override;
    uint32_t getReleaseNumber() const override;
    /// One of the interfaces is HID.
    bool isHID() const override;
    uint32_t getPrimaryUsagePage(int interfaceNumber) const override;
    uint32_t getPrimaryUsage(int interfaceNumber) const override;
    /// In bytes; without an interface number the largest over all interfaces.
    size_t getInputReportSize() const override;
    size_t getInputReportSize(int interfaceNumber) const override;
    size_t getOutputReportSize() const override;
    size_t getOutputReportSize(int interfaceNumber) const override;
    size_t getFeatureReportSize() const override;
    size_t getFeatureReportSize(int interfaceNumber) const override;
    /// Makes a report of the capabilities and lists it; nothing happens without capabilities.
    void _addReport(int interfaceNumber, unsigned int reportID,
                    std::vector<mis::swizzler<QrxHIDCapability>> capabilities) override;
    size_t getElementCount() const override;
    /// The index runs over the first interface's top-level elements, then the second's; empty past the end.
    mis::swizzler<QrxHIDElement> getElementAtIndex(unsigned int index) const override;
    /// The same registry entry.
    bool operator==(const QrxHIDDevice& other) const override;
    /// Tells the delegate first, also when no interface has that number, then sends.
    void setReport(unsigned int type, unsigned int reportID, std::valarray<unsigned char> bytes,
                   int interfaceNumber) override;

    /// Retains the entry, reads its properties, finds the interfaces and then the reports. Nothing happens for 0, for
    /// an entry of another class, and on any call after the first.
    virtual void _initWithEntry(unsigned int entry);
    virtual void _findInterfaces();
    /// Adds every interface entry (class kIOUSBInterfaceClassName) below `entry`, depth first; nothing below an
    /// interface is looked at.
    virtual void _findInterfaces(unsigned int entry);
    /// The first interface with this number, or empty; a negative number has none.
    virtual mis::swizzler<_QrxHIDInterfaceMac> _getInterface(int interfaceNumber) const;
    /// Appends the interface and becomes its parent, unless one of the same registry entry is there.
    virtual void _addInterface(mis::swizzler<_QrxHIDInterfaceMac> interface);
    virtual bool operator==(const _QrxHIDDeviceImpl& other) const;
    /// Without an entry the device equals the entry 0.
    virtual bool operator==(unsigned int entry) const;

    /// In the order in which the registry lists them; they stay the same once the device is listed.
    const std::vector<mis::swizzler<_QrxHIDInterfaceMac>>& _getInterfaces() const { return _interfaces; }

    /// The registry entry, borrowed, or 0.
    io_service_t _getEntry() const { return _entry; }

    /// As they were when the device was found, borrowed; null without an entry.
    CFDictionaryRef _borrowedProperties() const { return _properties; }

    /// A reference on a device of this very class that others hold: what a handle is, without its virtual calls.
    class ReportHold;

    /// The delegate, borrowed, or null; null also while nobody holds the device or it is being deleted.
    QrxHIDDeviceDelegateInterface* _borrowedDelegate() const
    {
        return _referenceCount != 0 && _referenceCount != std::numeric_limits<unsigned int>::max() ? _delegate
                                                                                                   : nullptr;
    }

private:
    /// As init(), with the work of one walk over the elements; false if not all classes are the backend's own.
    bool _findReportsInOneWalk();
    void _makeReport(int interfaceNumber, unsigned int reportID, CFDictionaryRef properties,
                     const std::vector<mis::swizzler<QrxHIDCapability>>& capabilities);

    io_service_t _entry;
    CFMutableDictionaryRef _properties;
    std::vector<mis::swizzler<_QrxHIDInterfaceMac>> _interfaces;
};

class _QrxHIDDeviceImpl::ReportHold {
public:
    explicit ReportHold(_QrxHIDDeviceImpl& device) : _device(device) { ++device._referenceCount; }
    ReportHold(const ReportHold&) = delete;
    ReportHold& operator=(const ReportHold&) = delete;
    ~ReportHold()
    {
        if (_device._referenceCount == 1) {
            _device.release();
        } else {
            --_device._referenceCount;
        }
    }

private:
    _QrxHIDDeviceImpl& _device;
};
