#pragma once

#include "QrxDeviceTreeNode.h"
#include "QrxHIDDeviceConnectionImpl.h"
#include "QrxHIDElement.h"
#include "swizzler"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <valarray>
#include <vector>

namespace qrx {
class InterfaceLayout;
}

/// One USB interface of a device: its registry entry, its top-level elements and the connection to its HID driver.
///
/// Made by the device, which holds it and becomes its parent after it was filled. Its children are the elements and the
/// connection. Everything is found once, in _initWithEntry; a device that changes comes back as a new device.
class _QrxHIDInterfaceMac : public QrxDeviceTreeNode {
public:
    _QrxHIDInterfaceMac();
    _QrxHIDInterfaceMac(const _QrxHIDInterfaceMac&) = delete;
    _QrxHIDInterfaceMac& operator=(const _QrxHIDInterfaceMac&) = delete;
    /// Does not close the connection first: close before the last handle goes.
    ~_QrxHIDInterfaceMac() override;

    /// Retains the entry, reads its properties, builds the elements and finds the driver. Nothing happens for 0, for an
    /// entry that is no USB interface (kIOUSBInterfaceClassName), and on any call after the first.
    virtual void _initWithEntry(unsigned int entry);
    virtual void _findElements();
    /// Walks down from `entry` to the entries that carry "Elements" and adds what they describe.
    virtual void _findElements(unsigned int entry);
    /// The elements of one level: an array gives those of its items, a dictionary one, any other value none.
    virtual std::vector<mis::swizzler<QrxHIDElement>> _createElements(const void* value);
    virtual void _findHIDDriver();
    /// Walks down from `entry` to an "IOHIDDevice" and makes the connection to it. The last one found wins.
    virtual void _findHIDDriver(unsigned int entry);
    /// The input report element of a report ID, borrowed, or null.
    virtual const __CFDictionary* _findReportProperties(unsigned int reportID);
    virtual void open();
    virtual void close();
    /// There are elements and a connection.
    virtual bool isHID() const;
    virtual uint32_t getVendorID() const;
    virtual uint32_t getProductID() const;
    virtual uint32_t getClass() const;
    virtual uint32_t getSubclass() const;
    virtual uint32_t getProtocol() const;
    virtual int32_t getInterfaceNumber() const { return _interfaceNumber; }
    virtual uint32_t getPrimaryUsagePage() const;
    virtual uint32_t getPrimaryUsage() const;
    /// The longest report of its kind in bytes; 0 without a connection.
    virtual size_t getInputReportSize() const;
    virtual size_t getOutputReportSize() const;
    virtual size_t getFeatureReportSize() const;
    /// Top-level elements only.
    virtual size_t getElementCount() const;
    /// Throws std::out_of_range for an index past the end.
    virtual mis::swizzler<QrxHIDElement> getElementAtIndex(unsigned int index);
    /// Appends the handles that are not empty and becomes their parent.
    virtual void _addElements(const std::vector<mis::swizzler<QrxHIDElement>>& elements);
    /// The same registry entry; two objects without an entry are equal.
    virtual bool operator==(const _QrxHIDInterfaceMac& other) const;
    /// Does nothing: a connection hands its reports to the device.
    virtual void __handleReport(std::valarray<unsigned char> report);
    /// Sends one report; nothing happens without a connection.
    virtual void setReport(unsigned int type, unsigned int reportID, std::valarray<unsigned char> bytes);

    /// The input report elements of all report IDs, borrowed: what _findReportProperties gives for each.
    std::vector<std::pair<std::uint32_t, CFDictionaryRef>> _reportProperties() const;

    /// The parent, borrowed, or null: as _getParent, without a handle.
    QrxDeviceTreeNode* _borrowedParent() const { return _parent; }
    /// The connection, borrowed, or null.
    _QrxHIDDeviceConnectionImpl* _borrowedConnection() const { return _connection.get(); }

    /// As they were when the interface was found, borrowed; null without an entry.
    CFDictionaryRef _borrowedProperties() const { return _properties; }

    /// The properties of the HID driver as they were when it was found, borrowed; null without one.
    CFDictionaryRef _borrowedDriverProperties() const
    {
        return _connection ? _connection->_borrowedProperties() : nullptr;
    }

    /// The layout of the reports, made when somebody asks for it first; it is released with the interface.
    const std::shared_ptr<const qrx::InterfaceLayout>& _keptLayout() const { return _layout; }
    void _keepLayout(std::shared_ptr<const qrx::InterfaceLayout> layout) { _layout = std::move(layout); }

private:
    mis::swizzler<QrxHIDElement> _createElement(CFDictionaryRef dictionary);
    void _adoptConnection(const mis::swizzler<_QrxHIDDeviceConnectionImpl>& connection);

    io_service_t _entry;
    CFMutableDictionaryRef _properties;
    std::vector<mis::swizzler<QrxHIDElement>> _elements;
    mis::swizzler<_QrxHIDDeviceConnectionImpl> _connection;
    /// A copy of the number in the properties, which do not change: it is needed with every report.
    std::int32_t _interfaceNumber;
    std::shared_ptr<const qrx::InterfaceLayout> _layout;
};
