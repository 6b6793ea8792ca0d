#pragma once

#include "HID/ReportType.h"
#include "QrxReportType.h"

#include <optional>

namespace qrx {

// The public headers name nothing private, so the report type has a public name and one inside. They meet here alone.

/// None for a number that is no report type: a program may cast any number to the public type.
inline std::optional<hid::ReportType> privateType(QrxReportType type)
{
    switch (type) {
    case QrxReportType::input:
        return hid::ReportType::input;
    case QrxReportType::output:
        return hid::ReportType::output;
    case QrxReportType::feature:
        return hid::ReportType::feature;
    }
    return std::nullopt;
}

inline QrxReportType publicType(hid::ReportType type)
{
    return static_cast<QrxReportType>(type);
}
static_assert(static_cast<unsigned int>(QrxReportType::input) == static_cast<unsigned int>(hid::ReportType::input) &&
              static_cast<unsigned int>(QrxReportType::output) == static_cast<unsigned int>(hid::ReportType::output) &&
              static_cast<unsigned int>(QrxReportType::feature) == static_cast<unsigned int>(hid::ReportType::feature));

} // namespace qrx
