/// @file
/// How an operation on a device ended.

#ifndef QRX_OUTCOME_H
#define QRX_OUTCOME_H

#include "QrxError.h"
#include "QrxExport.h"

#include <memory>
#include <string>
#include <system_error>

/// Success, or an error code together with a sentence for a person. A value: copy and keep it freely.
///
///     if (QrxOutcome outcome = QrxOpen(*device); outcome.hasFailed())
///         std::cerr << outcome.getMessage() << "\n";
class QRX_EXPORT QrxOutcome {
public:
    /// Success.
    QrxOutcome() noexcept;
    /// `subject` says in the words of a sentence's beginning what failed: "report 3 of the pedal was not sent". An
    /// empty error code is success.
    QrxOutcome(std::error_code error, const std::string& subject);

    bool hasFailed() const noexcept { return static_cast<bool>(_error); }

    /// Empty after success. Compare it with QrxError and std::errc.
    std::error_code getError() const noexcept { return _error; }

    /// What failed, and why: names the device by its IDs and place, the interface, the report and the report node, as
    /// far as they matter. One line of printable characters; "" after success. The reason alone where there was no
    /// memory for more.
    std::string getMessage() const;

    /// Throws std::system_error with the error code and the message if the operation failed.
    void throwIfFailed() const;

private:
    std::error_code _error;
    std::shared_ptr<const std::string> _subject;
};

#endif
