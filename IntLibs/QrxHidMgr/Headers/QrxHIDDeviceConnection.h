/// @file
/// The channel to one HID interface of a device.

#ifndef QRX_HID_DEVICE_CONNECTION_H
#define QRX_HID_DEVICE_CONNECTION_H

#include "QrxDeviceTreeNode.h"
#include "QrxExport.h"
#include "swizzler"

#include <cstdint>
#include <valarray>

class QrxHIDDevice;

/// Opens and closes one HID interface, sends reports to it and hands its input reports up to the device.
///
/// Owned by the interface that it serves, which is its parent. Input arrives on the thread whose run loop was current
/// at `open`. Applications do not meet connections: they open, close and send through the device.
///
/// `open`, `close` and `setReport` are a backend's to supply and report no failure; this class's own bodies write a
/// line to standard error and do nothing else.
class QRX_EXPORT QrxHIDDeviceConnection : public QrxDeviceTreeNode {
public:
    QrxHIDDeviceConnection();
    ~QrxHIDDeviceConnection() override;

    /// Opens the channel and starts input on the calling thread's run loop.
    virtual void open() = 0;

    /// Stops input and closes the channel; call it on the thread that opened.
    virtual void close() = 0;

    /// The nearest device above this connection, or an empty handle.
    virtual mis::swizzler<QrxHIDDevice> getDevice() const;

    /// Hands one input report to the device, which gets a copy of the bytes; without a device the report is dropped.
    /// The device is held during the call. Exceptions of the application's delegate pass through.
    ///
    /// @param report           the bytes as the platform gave them, possibly none
    /// @param interfaceNumber  the USB interface they came in on, passed on unchanged
    virtual void handleReport(std::valarray<uint8_t> report, int interfaceNumber);

    /// Sends one report and blocks until the platform returns.
    ///
    /// @param type      0 input, 1 output, 2 feature
    /// @param reportID  the report's number, 0 where reports are not numbered
    /// @param bytes     what to send, as it goes out
    virtual void setReport(unsigned int type, unsigned int reportID, std::valarray<uint8_t> bytes) = 0;
};

#endif
