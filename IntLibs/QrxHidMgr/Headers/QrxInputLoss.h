/// @file
/// Whether input reports of an open device may be missing.

#ifndef QRX_INPUT_LOSS_H
#define QRX_INPUT_LOSS_H

#include "QrxExport.h"
#include "QrxHIDDevice.h"

#include <cstdint>
#include <system_error>

/// How many times the queue behind a HID interface was found full since the device was opened. Input waits there until
/// the run loop takes it; reports that find it full are dropped without a word, so after each count some may be
/// missing.
///
/// - On Linux the kernel keeps 63 reports and does not tell of dropped ones. The count goes up when 63 reports come at
///   once: none, or any number, was dropped after the last of them. The count goes up before they are delivered.
/// - A virtual device counts each report that found 63 waiting: exactly what is missing.
/// - On macOS this cannot be told: `error` is QrxError::notPossible.
///
/// The other errors: QrxError::noSuchInterface, and QrxError::notOpen while the interface is not open (also where it
/// could not be opened). The result is 0 then; `error` is cleared on success. What was counted is forgotten when the
/// device is closed.
///
/// Call it on the thread that opened the device; also within its callbacks. It costs no system call.
QRX_EXPORT std::uint64_t QrxGetPossibleLosses(const QrxHIDDevice& device, int interfaceNumber, std::error_code& error);

#endif
