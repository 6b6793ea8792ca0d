/// @file
/// The reasons for which an operation of the additional headers fails, as std::error_code.

#ifndef QRX_ERROR_H
#define QRX_ERROR_H

#include "QrxExport.h"

#include <system_error>
#include <type_traits>

/// Compare an error code with these, or with the std::errc that stands behind some of them:
/// `if (error == QrxError::noSuchReport)`, `if (error == std::errc::invalid_argument)`.
enum class QrxError {
    noSuchReport = 1, ///< the interface declares no report of this type and number
    wrongLength,      ///< the bytes are not as many as the report has (std::errc::invalid_argument)
    noSuchUsage,      ///< the report has no value of this usage, or not that many (std::errc::invalid_argument)
    outOfRange,       ///< the field cannot hold the value (std::errc::result_out_of_range)
    noRoom,           ///< an array cannot show that many usages (std::errc::result_out_of_range)
    noSuchInterface,  ///< the device has no HID interface of this number (std::errc::no_such_device_or_address)
    notOpen,          ///< the interface is not open (std::errc::not_connected)
    gone,             ///< the device has left (std::errc::no_such_device)
    refused,          ///< the device refused the request: it stalled (std::errc::broken_pipe)
    timedOut,         ///< the device did not answer in time (std::errc::timed_out)
    noPermission,     ///< the system does not let this program do it (std::errc::permission_denied)
    busy,             ///< another program has the device for itself (std::errc::device_or_resource_busy)
    outOfDescriptors, ///< no file descriptor is free (std::errc::too_many_files_open)
    wrongFirstByte,   ///< a numbered report does not begin with its number (std::errc::invalid_argument)
    notPossible,      ///< this platform or kernel cannot do it (std::errc::not_supported)
    failed            ///< the transfer failed for another reason (std::errc::io_error)
};

/// The category of QrxError; its messages are complete sentences without names of devices.
QRX_EXPORT const std::error_category& QrxErrorCategory() noexcept;

/// What the standard library calls to make an error code of a QrxError.
QRX_EXPORT std::error_code make_error_code(QrxError error) noexcept;

template <>
struct std::is_error_code_enum<QrxError> : std::true_type {
};

#endif
