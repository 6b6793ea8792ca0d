/// @file
/// How an application hears of reports.

#ifndef QRX_HID_DEVICE_DELEGATE_INTERFACE_H
#define QRX_HID_DEVICE_DELEGATE_INTERFACE_H

#include "QrxExport.h"
#include "QrxHIDDevice.h"
#include "swizzler"

#include <cstdint>
#include <valarray>

/// Implemented by an application that wants a device's reports; see `QrxHIDDevice::setDelegate`.
///
/// The device owns its delegate: make it with `new`; the device deletes it when the device goes. A delegate that has
/// been replaced before is its owner's again. So one object is the delegate of one device at a time: two that have it
/// would both delete it. A delegate's destructor must not call its device, most of whose operations are gone by then: a
/// call of one of them ends the process. Debug builds of the library tell of both on standard error.
///
/// Both calls come on the thread that runs the device's run loop or sends the report, get copies of the bytes and a
/// handle of their own, and may do anything: send reports, close the device, drop its last handle, replace the
/// delegate. Both arguments end with the call: copy the bytes, or keep a handle, to use them longer. An exception
/// passes through the device to whoever runs it.
class QRX_EXPORT QrxHIDDeviceDelegateInterface {
public:
    virtual ~QrxHIDDeviceDelegateInterface();

    /// One input report of `device`, as it came.
    ///
    /// @param report           the bytes; the first is the report's number if the device numbers its reports
    /// @param device           where it comes from
    /// @param interfaceNumber  the USB interface it came in on
    virtual void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device,
                              int interfaceNumber) = 0;

    /// One output or feature report that the application is about to send with `QrxHIDDevice::setReport`; called before
    /// it is sent, and also when the device has no interface of that number. Leave it empty if that is of no interest.
    ///
    /// @param reportType       0 input, 1 output, 2 feature
    /// @param reportID         the report's number, 0 where reports are not numbered
    /// @param report           the bytes to be sent
    /// @param device           where they go
    /// @param interfaceNumber  the USB interface they go out on
    virtual void handleSetReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                                 mis::swizzler<QrxHIDDevice> device, int interfaceNumber) = 0;
};

#endif
