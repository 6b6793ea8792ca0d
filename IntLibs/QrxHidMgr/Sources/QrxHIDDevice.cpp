#include "QrxHIDDevice.h"

#include "BoundsTesting.h"
#include "DelegateChecks.h"
#include "QrxHIDDeviceDelegateInterface.h"
#include "QrxHIDDeviceEventInterface.h"
#include "ReportDelivery.h"
#include "ReportDiscovery.h"
#include "SelfReference.h"

#include <algorithm>
#include <iostream>
#include <utility>

QrxHIDDevice::QrxHIDDevice() : _delegate(nullptr), _eventListener(nullptr) {}

QrxHIDDevice::~QrxHIDDevice()
{
    if (_delegate != nullptr) {
        // The delegate's destructor is the application's code. It runs while only this base class is left of the
        // device, so it must not call the device; debug builds report it (`DelegateChecks`).
        _eventListener = nullptr;
        deleteDelegate(_delegate);
        _delegate = nullptr;
    }
    for (const mis::swizzler<QrxHIDReport>& report : _reports) {
        if (report) {
            // As in every parent: all links are cut before the first report is released.
            report->_forgetParent(this);
        }
    }
    // One by one, since the order is promised and that of the vector's destructor is not.
    for (mis::swizzler<QrxHIDReport>& report : _reports) {
        report.release();
    }
}

void QrxHIDDevice::_printBody(std::ostream& os, int depth, int indent) const
{
    mis::VCollectable<unsigned int>::_printBody(os, depth, indent);
    os << " \"" << getVendorName() << "\" \"" << getProductName() << "\"\n";
    // Deliberate: reports and elements get indent + 1 as their depth and 0 as their indent, so that each prints its own
    // children and starts its tabs from zero.
    for (unsigned int index = 0; index < getReportCount(); ++index) {
        const mis::swizzler<QrxHIDReport> report = getReportAtIndex(index);
        if (!report) {
            continue;
        }
        _printTabs(os, indent + 1);
        os << "Report: ";
        report->print(os, indent + 1, 0);
        os << "\n";
    }
    // Reports are always printed; element trees may be long, so they are printed only when the caller asks for depth.
    if (depth <= 0) {
        return;
    }
    for (unsigned int index = 0; index < getElementCount(); ++index) {
        const QrxHIDElementPtr element = getElementAtIndex(index);
        if (!element) {
            continue;
        }
        _printTabs(os, indent + 1);
        os << "Element: ";
        element->print(os, indent + 1, 0);
        os << "\n";
    }
}

void QrxHIDDevice::init()
{
    _findReports();
}

void QrxHIDDevice::_findReports()
{
    for (const unsigned int reportID : __findReportIDs()) {
        // Each USB interface has a report descriptor and report IDs of its own, so two interfaces that use the same
        // number have a report each. The lists are sorted by interface number; within one the order of the tree is
        // kept. All capabilities are asked before the first report is added, each once: these may be calls of an
        // application's own classes.
        std::vector<std::pair<int, std::vector<QrxHIDCapabilityPtr>>> byInterface;
        for (QrxHIDCapabilityPtr& capability : _findCapabilitiesByReportID(reportID)) {
            const int number = capability->getInterfaceNumber();
            auto place = std::lower_bound(byInterface.begin(), byInterface.end(), number,
                                          [](const auto& known, int wanted) { return known.first < wanted; });
            if (place == byInterface.end() || place->first != number) {
                place = byInterface.emplace(place, number, std::vector<QrxHIDCapabilityPtr>());
            }
            place->second.push_back(std::move(capability));
        }
        for (auto& [number, capabilities] : byInterface) {
            _addReport(number, reportID, std::move(capabilities));
        }
    }
}

std::vector<unsigned int> QrxHIDDevice::__findReportIDs() const
{
    std::vector<unsigned int> reportIDs;
    for (unsigned int index = 0; index < getElementCount(); ++index) {
        // Reports are listed in ascending order of their IDs, whatever the order of the fields in the descriptor.
        insertReportIDs(getElementAtIndex(index), reportIDs);
    }
    return reportIDs;
}

std::vector<QrxHIDCapabilityPtr> QrxHIDDevice::_findCapabilitiesByReportID(unsigned int reportID)
{
    std::vector<QrxHIDCapabilityPtr> capabilities;
    for (unsigned int index = 0; index < getElementCount(); ++index) {
        appendCapabilities(getElementAtIndex(index), reportID, capabilities);
    }
    return capabilities;
}

bool QrxHIDDevice::isHID() const
{
    return getReportCount() != 0 && getElementCount() != 0;
}

size_t QrxHIDDevice::getReportCount() const
{
    return _reports.size();
}

mis::swizzler<QrxHIDReport> QrxHIDDevice::getReportAtIndex(unsigned int index) const
{
    return entryAt(_reports, index);
}

mis::swizzler<QrxHIDReport> QrxHIDDevice::getReport(int interfaceNumber, unsigned int reportID) const
{
    for (const mis::swizzler<QrxHIDReport>& report : _reports) {
        // A linear search: a device has few reports, and applications look one up once, not for every report that
        // arrives.
        if (report->getInterfaceNumber() == interfaceNumber && report->getReportID() == reportID) {
            return report;
        }
    }
    return mis::swizzler<QrxHIDReport>();
}

void QrxHIDDevice::_addReport(mis::swizzler<QrxHIDReport> report)
{
    if (!report) {
        return;
    }
    _reports.push_back(report);
    const SelfLoan loan(*this);
    // Listed first: `_setParent` is virtual, and code that looks at the device from there finds the report.
    report->_setParent(mis::swizzler<QrxDeviceTreeNode>(this));
}

bool QrxHIDDevice::operator==(const QrxHIDDevice& other) const
{
    return this == &other;
}

bool QrxHIDDevice::hasDelegate() const
{
    return _delegate != nullptr;
}

void QrxHIDDevice::setDelegate(QrxHIDDeviceDelegateInterface* delegate)
{
    // The replaced delegate is not deleted: it belongs to the application again, which may have its own owner for it.
    noteDelegateChange(_delegate, delegate);
    _delegate = delegate;
    _eventListener = dynamic_cast<QrxHIDDeviceEventInterface*>(delegate);
}

void QrxHIDDevice::_handleReport(std::valarray<uint8_t> report, int interfaceNumber)
{
    if (_delegate != nullptr) {
        // Only a device that nobody holds is lent a reference. One that is held lives by its handles, the delegate's
        // included, and may end when that one goes.
        tellDelegate<SelfLoan>(
            *this, *_delegate, [&report] { return std::move(report); }, interfaceNumber);
        return;
    }
    std::cout << "QrxHIDDevice dispatch report: ";
    for (const uint8_t byte : report) {
        std::cout << static_cast<unsigned int>(byte) << " ";
    }
    std::cout << "coming from interface " << interfaceNumber << "\n";
}
