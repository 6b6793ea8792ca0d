#pragma once

#include "QrxHIDDeviceConnection.h"
#include "swizzler"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDLib.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <valarray>

class _QrxHIDInterfaceMac;

/// The connection to one HID driver: opens the platform's device interface, turns its input into byte arrays and sends
/// reports.
///
/// Made and held by its interface, which is its parent. open() and close() belong on one thread: input is delivered by
/// the run loop of the thread that opened, in the default mode. Close before the last handle goes; a connection that
/// is dropped open gives back its device interface only. No operation reports a failure: it leaves the connection as
/// far as it got.
class _QrxHIDDeviceConnectionImpl : public QrxHIDDeviceConnection {
public:
    _QrxHIDDeviceConnectionImpl();
    _QrxHIDDeviceConnectionImpl(const _QrxHIDDeviceConnectionImpl&) = delete;
    _QrxHIDDeviceConnectionImpl& operator=(const _QrxHIDDeviceConnectionImpl&) = delete;
    ~_QrxHIDDeviceConnectionImpl() override;

    void open() override;
    void close() override;
    /// Sends the bytes exactly as given and waits until the platform has taken them. `type` is 0 input, 1 output,
    /// 2 feature. No bytes, or no device interface: nothing is sent.
    void setReport(unsigned int type, unsigned int reportID, std::valarray<uint8_t> bytes) override;

    /// Retains the driver's entry, reads its properties and makes the device interface. Nothing happens for 0, for an
    /// entry that is no "IOHIDDevice", and on any call after the first.
    virtual void _initWithEntry(unsigned int entry);
    /// The nearest interface above, or empty.
    virtual mis::swizzler<_QrxHIDInterfaceMac> _getInterface();
    virtual void _createDeviceInterface();
    virtual void _openDeviceInterface();
    virtual void _closeDeviceInterface();
    virtual void _freeDeviceInterface();
    /// Starts input: a queue of the input report elements on systems from 10.4 on, else an interrupt report callback.
    virtual void _initReportsQueue();
    /// Stops input and gives back what it used.
    virtual void _freeReportsQueue();
    /// In bytes, read from the registry as it is now.
    virtual unsigned int _getMaxInputReportSize();
    /// Delivers the first `bufferSize` bytes of the report buffer.
    virtual void _reportHandler(IOHIDDeviceInterface122** sender, unsigned long bufferSize);
    /// Delivers every event that waits in the queue.
    virtual void _reportQueueHandler(IOHIDQueueInterface** sender);
    /// The first input report element of a report ID, borrowed from the properties, or null.
    virtual const __CFDictionary* _findReportProperties(unsigned int reportID);
    /// In bits; 0 for an unknown report ID.
    virtual unsigned int __getReportSizeByReportID(unsigned int reportID);
    /// In bits; 0 for an unknown cookie.
    virtual unsigned int _getReportSizeByCookie(unsigned int cookie);
    virtual uint32_t getPrimaryUsagePage() const;
    virtual uint32_t getPrimaryUsage() const;
    /// In bytes.
    virtual uint32_t getInputReportSize() const;
    virtual uint32_t getOutputReportSize() const;
    virtual uint32_t getFeatureReportSize() const;

    /// The driver's device interface, borrowed, or null.
    IOHIDDeviceInterface122** _borrowedDeviceInterface() const { return _deviceInterface; }
    /// The last open was answered with success, and no close came after it.
    bool _isOpen() const { return _isOpened; }
    /// The platform's answer to the last open or setReport; no value before the first one and after it was taken.
    std::optional<IOReturn> _takeResult() { return std::exchange(_result, std::nullopt); }
    /// The driver's properties as they were when the connection was made, borrowed; null without a driver.
    CFDictionaryRef _borrowedProperties() const { return _properties; }

    /// Tells the device's delegate, if it asks for that, that input had no room `count` times.
    void _tellPossibleLoss(std::uint64_t count);

private:
    bool _startQueue();
    void _addReportElements(CFArrayRef elements);
    void _runQueue();
    void _startInterruptReports();
    void _attachSource();
    inline void _deliver(const void* bytes, std::size_t count);
    void _deliverStepByStep(std::valarray<uint8_t>&& report);
    void _deliverEvent(const IOHIDEventStruct& event);

    io_object_t _entry;
    CFMutableDictionaryRef _properties;
    IOHIDDeviceInterface122** _deviceInterface;
    IOHIDQueueInterface** _queue;
    CFRunLoopSourceRef _runLoopSource;
    void* _reportBuffer;
    bool _isOpened;
    std::optional<IOReturn> _result;
};
