#include "QrxError.h"

#include <string>

namespace {

class Category : public std::error_category {
public:
    const char* name() const noexcept override { return "QrxHIDManager"; }

    std::string message(int value) const override
    {
        switch (static_cast<QrxError>(value)) {
        case QrxError::noSuchReport:
            return "The interface declares no such report.";
        case QrxError::wrongLength:
            return "The bytes are not as many as the report has.";
        case QrxError::noSuchUsage:
            return "The report has no value of this usage, or not that many.";
        case QrxError::outOfRange:
            return "The value is out of the field's range.";
        case QrxError::noRoom:
            return "The array cannot show that many usages.";
        }
        return "An unknown error, number " + std::to_string(value) + ".";
    }

    std::error_condition default_error_condition(int value) const noexcept override
    {
        switch (static_cast<QrxError>(value)) {
        case QrxError::wrongLength:
        case QrxError::noSuchUsage:
            return std::errc::invalid_argument;
        case QrxError::outOfRange:
        case QrxError::noRoom:
            return std::errc::result_out_of_range;
        case QrxError::noSuchReport:
            break;
        }
        return {value, *this};
    }
};

} // namespace

const std::error_category& QrxErrorCategory() noexcept
{
    static const Category category;
    return category;
}

std::error_code make_error_code(QrxError error) noexcept
{
    return {static_cast<int>(error), QrxErrorCategory()};
}
