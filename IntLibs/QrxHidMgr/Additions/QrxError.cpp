// The library's error category. Messages are sentences that can be shown to a person. Each error maps to the generic
// condition that comes nearest, so that programs can also compare with `std::errc`; an error that has no counterpart
// there equals only itself.

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
        case QrxError::noSuchInterface:
            return "The device has no HID interface of this number.";
        case QrxError::notOpen:
            return "The interface is not open.";
        case QrxError::gone:
            return "The device has left.";
        case QrxError::refused:
            return "The device refused the request.";
        case QrxError::timedOut:
            return "The device did not answer in time.";
        case QrxError::noPermission:
            return "The system does not permit it.";
        case QrxError::busy:
            return "Another program has the device for itself.";
        case QrxError::outOfDescriptors:
            return "No file descriptor is free.";
        case QrxError::wrongFirstByte:
            return "The bytes of a numbered report must begin with its number.";
        case QrxError::notPossible:
            return "This platform cannot do it.";
        case QrxError::failed:
            return "The transfer failed.";
        }
        // A code can be made of any number, so the text must exist for all.
        return "An unknown error, number " + std::to_string(value) + ".";
    }

    std::error_condition default_error_condition(int value) const noexcept override
    {
        switch (static_cast<QrxError>(value)) {
        case QrxError::wrongLength:
        case QrxError::noSuchUsage:
        case QrxError::wrongFirstByte:
            return std::errc::invalid_argument;
        case QrxError::outOfRange:
        case QrxError::noRoom:
            return std::errc::result_out_of_range;
        case QrxError::noSuchInterface:
            return std::errc::no_such_device_or_address;
        case QrxError::notOpen:
            return std::errc::not_connected;
        case QrxError::gone:
            return std::errc::no_such_device;
        case QrxError::refused:
            return std::errc::broken_pipe;
        case QrxError::timedOut:
            return std::errc::timed_out;
        case QrxError::noPermission:
            return std::errc::permission_denied;
        case QrxError::busy:
            return std::errc::device_or_resource_busy;
        case QrxError::outOfDescriptors:
            return std::errc::too_many_files_open;
        case QrxError::notPossible:
            return std::errc::not_supported;
        case QrxError::failed:
            return std::errc::io_error;
        case QrxError::noSuchReport:
            break;
        }
        // The nearest generic condition would be "invalid argument", but a report that is not declared is a fact about
        // the device.
        return {value, *this};
    }
};

} // namespace

const std::error_category& QrxErrorCategory() noexcept
{
    // Error codes hold the address of their category, so there is one object for the process.
    static const Category sm_Category;
    return sm_Category;
}

std::error_code make_error_code(QrxError error) noexcept
{
    return {static_cast<int>(error), QrxErrorCategory()};
}
