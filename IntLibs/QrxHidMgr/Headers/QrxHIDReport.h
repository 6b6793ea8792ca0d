/// @file
/// Whole reports: which fields travel together.

#ifndef QRX_HID_REPORT_H
#define QRX_HID_REPORT_H

#include "QrxExport.h"
#include "QrxHIDCapability.h"
#include "QrxHIDElement.h"
#include "swizzler"

#include <cstddef>
#include <cstdint>
#include <vector>

/// All fields of one report ID on one USB interface, whether they are input, output or feature: the pair (interface
/// number, report ID) with its capabilities.
///
/// A report is made when its device is built, hangs below the device, and lives as long as the device or any handle. It
/// shares its capabilities with the element tree and is not their parent. It does not change once the application sees
/// the device.
///
/// Size and type are a backend's to supply; this class's own bodies write a line to standard error and answer 0 and -1.
class QRX_EXPORT QrxHIDReport : public QrxHIDElement {
public:
    /// Interface number 0, report ID 0, no capabilities.
    QrxHIDReport();

    /// A report is its device's: it has no copies.
    QrxHIDReport(const QrxHIDReport&) = delete;
    QrxHIDReport& operator=(const QrxHIDReport&) = delete;

    /// Releases the capabilities, first to last.
    ~QrxHIDReport() override;

    /// Adds "HIDReport.reportSize = " (bits), "HIDReport.reportByteSize = " (whole bytes, rounded down) and
    /// "HIDReport.reportType = " with their values to the element's description.
    void _printBody(std::ostream& os, int depth, int indent) const override;

    /// The number of the USB interface ("bInterfaceNumber") whose report this is.
    int32_t getInterfaceNumber() const override;

    /// The report's number; 0 where reports are not numbered.
    uint32_t getReportID() const override;

    /// Stores the interface number, unchecked. Called once by the backend that makes the report.
    virtual void _setInterfaceNumber(int interfaceNumber);

    /// Stores the report ID, unchecked. Called once by the backend that makes the report.
    virtual void _setReportID(unsigned int reportID);

    /// The size in bits of the input report of this ID, the byte of its number counted; 0 where the platform describes
    /// no such input report.
    // Deliberate: output and feature reports have no size here. A number that only they use answers 8, the bits of the
    // number.
    virtual size_t getReportSize() const = 0;

    /// The type of the input report's element: 1, or 0 where the platform describes no input report of this ID.
    // Deliberate: the platform's numbering of elements (see `QrxHIDCapability::getType`), not the one of `setReport`,
    // and 1 also for a number that only output or feature reports use.
    virtual int32_t getReportType() const = 0;

    /// The number of capabilities.
    virtual size_t getCapabilityCount() const;

    /// The capability at `index`, counted from 0 in the order of addition. Throws `std::out_of_range` with the text
    /// "vector [] access out of range" when `index` is not below `getCapabilityCount()`.
    virtual QrxHIDCapabilityPtr getCapabilityAtIndex(unsigned int index);

    /// Appends capabilities, first to last, with one more reference on each; empty handles are skipped, duplicates are
    /// not. Called by the backend that makes the report.
    virtual void _addCapabilities(const std::vector<QrxHIDCapabilityPtr>& capabilities);

protected:
    int32_t _interfaceNumber;
    uint32_t _reportID;

    /// The fields, in the order of the element tree.
    std::vector<QrxHIDCapabilityPtr> _capabilities;
};

#endif
