#include "QrxOutcome.h"

#include <new>

QrxOutcome::QrxOutcome() noexcept = default;

QrxOutcome::QrxOutcome(std::error_code error, const std::string& subject) : _error(error)
{
    if (!_error) {
        return;
    }
    try {
        // Shared, so that copies of an outcome do not copy the text; an outcome without a failure has none and
        // allocates nothing.
        _subject = std::make_shared<const std::string>(subject);
    } catch (const std::bad_alloc&) {
        // Out of memory is no reason to lose the error: it is reported without its subject.
    }
}

std::string QrxOutcome::getMessage() const
{
    if (!hasFailed()) {
        return {};
    }
    return _subject ? *_subject + ": " + _error.message() : _error.message();
}

void QrxOutcome::throwIfFailed() const
{
    if (hasFailed()) {
        throw std::system_error(_error, _subject ? *_subject : std::string());
    }
}
