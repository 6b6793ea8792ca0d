#include "DiagnosisLog.h"

namespace qrx::hid {

void DiagnosisLog::error(std::size_t offset, const char* item, const char* reason, std::optional<std::int64_t> value)
{
    // Counted apart from the list: whether a descriptor has errors must not depend on the limit of the list.
    ++_descriptor.errorCount;
    _add(offset, item, reason, value, true);
}

void DiagnosisLog::error(const Item& item, const char* reason, std::optional<std::int64_t> value)
{
    error(item.offset, item.name(), reason, value);
}

void DiagnosisLog::warning(std::size_t offset, const char* item, const char* reason, std::optional<std::int64_t> value)
{
    _add(offset, item, reason, value, false);
}

void DiagnosisLog::warning(const Item& item, const char* reason, std::optional<std::int64_t> value)
{
    warning(item.offset, item.name(), reason, value);
}

void DiagnosisLog::_add(std::size_t offset, const char* item, const char* reason, std::optional<std::int64_t> value,
                        bool isError)
{
    // The first diagnoses are kept, since later ones are mostly consequences of them.
    if (_descriptor.diagnoses.size() >= _limit) {
        ++_descriptor.unlistedDiagnoses;
        return;
    }
    std::string text(reason);
    if (value) {
        text += ": ";
        text += std::to_string(*value);
    }
    _descriptor.diagnoses.push_back({offset, item, std::move(text), isError});
}

} // namespace qrx::hid
