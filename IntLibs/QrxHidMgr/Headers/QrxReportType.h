/// @file
/// The three kinds of reports.

#ifndef QRX_REPORT_TYPE_H
#define QRX_REPORT_TYPE_H

/// The numbers are those that `QrxHIDDevice::setReport` takes.
enum class QrxReportType : unsigned int { input = 0, output = 1, feature = 2 };

#endif
