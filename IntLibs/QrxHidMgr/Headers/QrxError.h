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
    noRoom            ///< an array cannot show that many usages (std::errc::result_out_of_range)
};

/// The category of QrxError; its messages are complete sentences without names of devices.
QRX_EXPORT const std::error_category& QrxErrorCategory() noexcept;

/// What the standard library calls to make an error code of a QrxError.
QRX_EXPORT std::error_code make_error_code(QrxError error) noexcept;

template <>
struct std::is_error_code_enum<QrxError> : std::true_type {
};

#endif
