/// @file
/// One USB HID device.

#ifndef QRX_HID_DEVICE_H
#define QRX_HID_DEVICE_H

#include "QrxDeviceTreeNode.h"
#include "QrxExport.h"
#include "QrxHIDCapability.h"
#include "QrxHIDElement.h"
#include "QrxHIDReport.h"
#include "swizzler"

#include <cstddef>
#include <cstdint>
#include <string>
#include <valarray>
#include <vector>

class QrxHIDDeviceDelegateInterface;
class QrxHIDDeviceEventInterface;

/// A USB HID device with its identity, its interfaces' element trees, its reports and its delegate.
///
/// Devices are made by the tree's backend, complete with their reports, and handed to the application by
/// `QrxDeviceTree`. A device lives as long as a handle holds it, also after it was unplugged or its tree has gone; then
/// its identity and description still answer, and nothing arrives any more. Do not ask a removed device for its tree
/// after that tree has gone.
///
/// A device belongs to the thread of its tree; input reports arrive on the thread whose run loop was current at `open`.
/// Failures of the platform are not reported: a question that cannot be answered gives 0, false or an empty text.
///
/// Most operations are a backend's to supply. Where this class has a body of its own for one, that body writes the
/// operation's declaration and " is abstract" to standard error and answers 0, false or an empty value.
class QRX_EXPORT QrxHIDDevice : public QrxDeviceTreeNode {
public:
    QrxHIDDevice();

    /// A device is one and the same thing, and owns its delegate: it has no copies.
    QrxHIDDevice(const QrxHIDDevice&) = delete;
    QrxHIDDevice& operator=(const QrxHIDDevice&) = delete;

    /// Deletes the delegate, whose destructor must not call the device, tells every report to forget its parent, and
    /// releases the reports, first to last.
    ~QrxHIDDevice() override;

    /// Adds the vendor's and the product's name in double quotes and an end of line to the object's description; then a
    /// line for each report, `indent` + 1 tabs, "Report: " and the report; then, if `depth` is above 0, such a line
    /// with "Element: " for each element. Reports and elements are printed with depth `indent` + 1 and indent 0.
    void _printBody(std::ostream& os, int depth, int indent) const override;

    /// Finds the reports. Called once by the backend, when all interfaces have their elements; again would double them.
    virtual void init();

    /// Groups all capabilities into reports, one for each pair of interface number and report ID that occurs, in the
    /// order of report ID, then interface number, and has `_addReport` make each.
    virtual void _findReports();

    /// The report IDs of all capabilities of the device: each once, ascending.
    virtual std::vector<unsigned int> __findReportIDs() const;

    /// The capabilities of report `reportID` on all interfaces, in the order of the element trees. One that stands in
    /// two places is listed twice.
    virtual std::vector<QrxHIDCapabilityPtr> _findCapabilitiesByReportID(unsigned int reportID);

    /// Opens every interface and starts input on the calling thread's run loop. Open once; close before opening again.
    /// An interface that cannot be opened stays closed and is not reported (QrxRequests.h has a way to open that
    /// tells). Throws std::bad_alloc without memory, and std::system_error if the thread has no run loop yet and no
    /// descriptor is free for one, or if the system lets the loop watch no more; all interfaces are closed then.
    virtual void open() = 0;

    /// Stops input and closes every interface; call it on the thread that opened.
    virtual void close() = 0;

    /// The USB vendor ID, 16 bits wide.
    virtual uint32_t getVendorID() const = 0;

    /// The USB product ID, 16 bits wide.
    virtual uint32_t getProductID() const = 0;

    /// The vendor's name in UTF-8; empty when the device gives none or it cannot be converted. On macOS every name that
    /// is not ASCII reads as empty.
    virtual std::string getVendorName() const = 0;

    /// The product's name in UTF-8; empty when the device gives none or it cannot be converted. On macOS every name
    /// that is not ASCII reads as empty.
    virtual std::string getProductName() const = 0;

    /// The USB device class; 0 where the interfaces have their own.
    virtual uint32_t getClass() const = 0;

    /// The USB device subclass.
    virtual uint32_t getSubclass() const = 0;

    /// The USB device protocol.
    virtual uint32_t getProtocol() const = 0;

    /// The device's release number ("bcdDevice"): four decimal digits, one in each 4 bits.
    virtual uint32_t getReleaseNumber() const = 0;

    /// True for a device that can be used as HID. This class: it has at least one report and one element.
    virtual bool isHID() const;

    /// The usage page of the first top-level collection of a USB interface; 0 when there is no such interface.
    virtual uint32_t getPrimaryUsagePage(int interfaceNumber) const = 0;

    /// The usage of the first top-level collection of a USB interface; 0 when there is no such interface.
    virtual uint32_t getPrimaryUsage(int interfaceNumber) const = 0;

    /// The largest input report of all interfaces in bytes, with the byte of its number where reports are numbered: 1
    /// where they are numbered and none is an input report.
    virtual size_t getInputReportSize() const = 0;

    /// The largest input report of one USB interface in bytes; 0 when there is no such interface.
    virtual size_t getInputReportSize(int interfaceNumber) const = 0;

    /// The largest output report of all interfaces in bytes, with the byte of its number where reports are numbered: 1
    /// where they are numbered and none is an output report.
    virtual size_t getOutputReportSize() const = 0;

    /// The largest output report of one USB interface in bytes; 0 when there is no such interface.
    virtual size_t getOutputReportSize(int interfaceNumber) const = 0;

    /// The largest feature report of all interfaces in bytes, with the byte of its number where reports are numbered: 1
    /// where they are numbered and none is a feature report.
    virtual size_t getFeatureReportSize() const = 0;

    /// The largest feature report of one USB interface in bytes; 0 when there is no such interface.
    virtual size_t getFeatureReportSize(int interfaceNumber) const = 0;

    /// The number of reports, of all interfaces together.
    virtual size_t getReportCount() const;

    /// The report at `index`, counted from 0. Throws `std::out_of_range` with the text "vector [] access out of range"
    /// when `index` is not below `getReportCount()`.
    virtual mis::swizzler<QrxHIDReport> getReportAtIndex(unsigned int index) const;

    /// The report `reportID` of USB interface `interfaceNumber`, or an empty handle.
    virtual mis::swizzler<QrxHIDReport> getReport(int interfaceNumber, unsigned int reportID) const;

    /// Makes the report of these capabilities and lists it. Called by `_findReports`.
    virtual void _addReport(int interfaceNumber, unsigned int reportID,
                            std::vector<QrxHIDCapabilityPtr> capabilities) = 0;

    /// Lists a report and becomes its parent; an empty handle is ignored, a duplicate is not. Called by backends.
    virtual void _addReport(mis::swizzler<QrxHIDReport> report);

    /// The number of top-level elements, of all interfaces together.
    virtual size_t getElementCount() const = 0;

    /// The top-level element at `index`, counted from 0 through the first interface's elements, then the second's, and
    /// so on; an empty handle past the end.
    virtual QrxHIDElementPtr getElementAtIndex(unsigned int index) const = 0;

    /// True when both are the same device. This class: the same object; backends decide by what the platform says.
    virtual bool operator==(const QrxHIDDevice& other) const;

    /// True when there is a delegate.
    virtual bool hasDelegate() const;

    /// Installs `delegate`, or none with null, in place of any earlier one. The device owns the one it has: it deletes
    /// it when the device goes. One that is replaced is not deleted and belongs to the caller again. Call it on the
    /// thread that delivers the device's reports. A delegate that also derives from `QrxHIDDeviceEventInterface` hears
    /// of more than reports.
    virtual void setDelegate(QrxHIDDeviceDelegateInterface* delegate);

    /// The delegate, if it hears of more than reports, or null; borrowed.
    QrxHIDDeviceEventInterface* _getEventListener() const { return _eventListener; }

    /// Hands one input report to the delegate, with a copy of the bytes and a handle on this device; without a delegate
    /// writes it to standard output as "QrxHIDDevice dispatch report: ", each byte in decimal and " ", "coming from
    /// interface ", the number and an end of line. Called by the connection that received it.
    virtual void _handleReport(std::valarray<uint8_t> report, int interfaceNumber);

    /// Tells the delegate (`handleSetReport`), then sends one report and blocks until the platform returns. Whether it
    /// arrived is not known; nothing is sent for a report without bytes, without such an interface, or if the delegate
    /// dropped the last handle on this device.
    ///
    /// @param reportType       0 input, 1 output, 2 feature
    /// @param reportID         the report's number, 0 where reports are not numbered
    /// @param report           the bytes as they go out, the report's number first where reports are numbered
    /// @param interfaceNumber  the USB interface to send on
    virtual void setReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                           int interfaceNumber);

protected:
    /// The reports, in the order of addition; never an empty handle.
    std::vector<mis::swizzler<QrxHIDReport>> _reports;

    /// The delegate, or null. The destructor deletes the one that is set then.
    QrxHIDDeviceDelegateInterface* _delegate;

private:
    /// The delegate again, if it also derives from this interface, or null.
    QrxHIDDeviceEventInterface* _eventListener;
};

#endif
