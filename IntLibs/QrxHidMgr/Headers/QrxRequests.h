/// @file
/// Opening, sending and asking with an outcome, for a device or for one of its interfaces.
///
/// All functions are called on the thread of the device's tree, also within callbacks. They work with devices that the
/// library found; for a device of another class the error is QrxError::noSuchInterface. An interface number is that of
/// a USB interface ("bInterfaceNumber"). The device is kept alive until the call returns, whatever its delegate does
/// meanwhile. A request that is under way when the device is pulled may end with another error than QrxError::gone; the
/// next one ends with `gone`.

#ifndef QRX_REQUESTS_H
#define QRX_REQUESTS_H

#include "QrxExport.h"
#include "QrxOutcome.h"
#include "QrxReportType.h"

#include <cstddef>
#include <cstdint>
#include <vector>

class QrxHIDDevice;

/// Opens every HID interface of the device that is not open yet, as QrxHIDDevice::open does. One that cannot be opened
/// does not keep the others closed; the outcome is that of the first that failed: gone, noPermission (the message names
/// the node), busy, outOfDescriptors, notPossible (no report node), failed, or the system's own where it lets the run
/// loop watch no more (std::errc::no_space_on_device). Without memory std::bad_alloc is thrown and what this call
/// opened is closed again.
[[nodiscard]] QRX_EXPORT QrxOutcome QrxOpen(QrxHIDDevice& device);

/// Opens one interface and no other, so that access to the others is not needed. Nothing happens if it is open already,
/// but if the device has left meanwhile the error is gone (macOS does not tell, and the call succeeds). Besides the
/// errors above: noSuchInterface.
[[nodiscard]] QRX_EXPORT QrxOutcome QrxOpen(QrxHIDDevice& device, int interfaceNumber);

/// Closes one interface; on the thread that opened it. Input that waits is dropped. Nothing happens if it is not open.
/// Error: noSuchInterface. QrxHIDDevice::close closes all of them.
QRX_EXPORT QrxOutcome QrxClose(QrxHIDDevice& device, int interfaceNumber);

/// True if an interface of the device is open. One that was pulled stays open until it is closed.
QRX_EXPORT bool QrxIsOpen(const QrxHIDDevice& device);

/// The same for one interface; false without such an interface.
QRX_EXPORT bool QrxIsOpen(const QrxHIDDevice& device, int interfaceNumber);

/// Checks a report against the descriptor and sends it, as QrxHIDDevice::setReport does: the delegate is told first,
/// and the call returns when the device has taken or refused the report. For an interface that does not publish its
/// descriptor only an empty report and a wrong first byte are found; QrxHIDDevice::setReport checks nothing.
///
/// Found before anything is sent or told: noSuchInterface, noSuchReport, wrongLength (`count` is 0, or not the report's
/// size) and wrongFirstByte. Found by sending: notOpen, gone, refused, timedOut, noPermission (the node may only be
/// read), notPossible or failed. An exception of the delegate passes.
///
/// @param reportID  the report's number, 0 where reports are not numbered
/// @param bytes     `count` bytes as they go out, the report's number first where reports are numbered
[[nodiscard]] QRX_EXPORT QrxOutcome QrxSetReport(QrxHIDDevice& device, QrxReportType reportType, unsigned int reportID,
                                                 const uint8_t* bytes, size_t count, int interfaceNumber);

/// Asks the device for a report and waits for the answer: a feature report, or the present state as an input report.
/// `received` becomes the number of bytes in `buffer`, the report's number first where reports are numbered; 0 on
/// failure.
///
/// Errors: noSuchInterface, noSuchReport, wrongLength (`capacity` is 0, or less than the report's size), notOpen, gone,
/// refused, timedOut, notPossible or failed (also input and output reports on kernels before 5.11, which have no such
/// request).
[[nodiscard]] QRX_EXPORT QrxOutcome QrxGetReport(QrxHIDDevice& device, QrxReportType reportType, unsigned int reportID,
                                                 uint8_t* buffer, size_t capacity, size_t& received,
                                                 int interfaceNumber);

/// The same; `report` becomes the bytes of the answer and is empty on failure.
[[nodiscard]] QRX_EXPORT QrxOutcome QrxGetReport(QrxHIDDevice& device, QrxReportType reportType, unsigned int reportID,
                                                 std::vector<uint8_t>& report, int interfaceNumber);

#endif
