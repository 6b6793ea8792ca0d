#include "QrxHIDDeviceImpl.h"

#include "ExactClass.h"
#include "FirstException.h"
#include "PropertyReading.h"
#include "QrxHIDDeviceDelegateInterface.h"
#include "QrxHIDReportImpl.h"
#include "RegistryHandle.h"
#include "ReportIndex.h"
#include "SelfReference.h"

#include <IOKit/usb/IOUSBLib.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <utility>

using namespace qrx;

_QrxHIDDeviceImpl::_QrxHIDDeviceImpl() : _entry(0), _properties(nullptr) {}

_QrxHIDDeviceImpl::~_QrxHIDDeviceImpl()
{
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        // As in every parent: all links are cut before anything is released.
        interface->_forgetParent(this);
    }
    if (_entry != 0) {
        IOObjectRelease(_entry);
        _entry = 0;
    }
    if (_properties != nullptr) {
        CFRelease(_properties);
        _properties = nullptr;
    }
    // One by one, since the order is promised and that of the vector's destructor is not.
    for (mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        interface.release();
    }
}

void _QrxHIDDeviceImpl::_printBody(std::ostream& os, int depth, int indent) const
{
    // Deliberate: an override that adds nothing. It is part of the class's interface.
    QrxHIDDevice::_printBody(os, depth, indent);
}

// Opening, closing and sending may run code of the application (a virtual device that answers), which may drop the
// device. So the device holds itself until the call is over, and reads its list of interfaces anew after every step.

void _QrxHIDDeviceImpl::open()
{
    const SelfHold self(*this);
    try {
        for (std::size_t index = 0; index < _interfaces.size(); ++index) {
            const mis::swizzler<_QrxHIDInterfaceMac> interface = _interfaces[index];
            interface->open();
        }
    } catch (...) {
        // All or nothing: interfaces that stayed open would be opened a second time by the next call.
        close();
        throw;
    }
}

void _QrxHIDDeviceImpl::close()
{
    const SelfHold self(*this);
    FirstException failure;
    for (std::size_t index = 0; index < _interfaces.size(); ++index) {
        const mis::swizzler<_QrxHIDInterfaceMac> interface = _interfaces[index];
        // An exception of one interface must not leave the others open.
        failure.watch([&] { interface->close(); });
    }
    failure.rethrow();
}

void _QrxHIDDeviceImpl::setReport(unsigned int type, unsigned int reportID, std::valarray<unsigned char> bytes,
                                  int interfaceNumber)
{
    const SelfLoan loan(*this);
    if (_delegate != nullptr) {
        // Deliberate: the handle given to the delegate is the only one added, so the device may end during the call.
        // Its destructor makes every interface forget it. So the first interface, held here, shows whether it has
        // ended; a device without interfaces has nothing to send on.
        const mis::swizzler<_QrxHIDInterfaceMac> witness = _interfaces.empty() ? nullptr : _interfaces.front();
        _delegate->handleSetReport(type, reportID, bytes, mis::swizzler<QrxHIDDevice>(this), interfaceNumber);
        if (!witness || !witness->_hasParent()) {
            return;
        }
    }
    if (const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(interfaceNumber)) {
        interface->setReport(type, reportID, std::move(bytes));
    }
}

uint32_t _QrxHIDDeviceImpl::getVendorID() const
{
    return properties::bits(_properties, CFSTR("idVendor"));
}

uint32_t _QrxHIDDeviceImpl::getProductID() const
{
    return properties::bits(_properties, CFSTR("idProduct"));
}

std::string _QrxHIDDeviceImpl::getVendorName() const
{
    return properties::text(_properties, CFSTR("USB Vendor Name"));
}

std::string _QrxHIDDeviceImpl::getProductName() const
{
    return properties::text(_properties, CFSTR("USB Product Name"));
}

uint32_t _QrxHIDDeviceImpl::getClass() const
{
    return properties::bits(_properties, CFSTR("bDeviceClass"));
}

uint32_t _QrxHIDDeviceImpl::getSubclass() const
{
    return properties::bits(_properties, CFSTR("bDeviceSubClass"));
}

uint32_t _QrxHIDDeviceImpl::getProtocol() const
{
    return properties::bits(_properties, CFSTR("bDeviceProtocol"));
}

uint32_t _QrxHIDDeviceImpl::getReleaseNumber() const
{
    return properties::bits(_properties, CFSTR("bcdDevice"));
}

bool _QrxHIDDeviceImpl::isHID() const
{
    // Deliberate: every interface is asked, also after the first that says yes.
    bool hid = false;
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        hid = interface->isHID() || hid;
    }
    return hid;
}

uint32_t _QrxHIDDeviceImpl::getPrimaryUsagePage(int interfaceNumber) const
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(interfaceNumber);
    return interface ? interface->getPrimaryUsagePage() : 0;
}

uint32_t _QrxHIDDeviceImpl::getPrimaryUsage(int interfaceNumber) const
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(interfaceNumber);
    return interface ? interface->getPrimaryUsage() : 0;
}

size_t _QrxHIDDeviceImpl::getInputReportSize() const
{
    size_t largest = 0;
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        largest = std::max(largest, interface->getInputReportSize());
    }
    return largest;
}

size_t _QrxHIDDeviceImpl::getInputReportSize(int interfaceNumber) const
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(interfaceNumber);
    return interface ? interface->getInputReportSize() : 0;
}

size_t _QrxHIDDeviceImpl::getOutputReportSize() const
{
    size_t largest = 0;
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        largest = std::max(largest, interface->getOutputReportSize());
    }
    return largest;
}

size_t _QrxHIDDeviceImpl::getOutputReportSize(int interfaceNumber) const
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(interfaceNumber);
    return interface ? interface->getOutputReportSize() : 0;
}

size_t _QrxHIDDeviceImpl::getFeatureReportSize() const
{
    size_t largest = 0;
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        largest = std::max(largest, interface->getFeatureReportSize());
    }
    return largest;
}

size_t _QrxHIDDeviceImpl::getFeatureReportSize(int interfaceNumber) const
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(interfaceNumber);
    return interface ? interface->getFeatureReportSize() : 0;
}

void _QrxHIDDeviceImpl::_addReport(int interfaceNumber, unsigned int reportID,
                                   std::vector<mis::swizzler<QrxHIDCapability>> capabilities)
{
    if (capabilities.empty()) {
        return;
    }
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(interfaceNumber);
    _makeReport(interfaceNumber, reportID, interface ? interface->_findReportProperties(reportID) : nullptr,
                capabilities);
}

void _QrxHIDDeviceImpl::_makeReport(int interfaceNumber, unsigned int reportID, CFDictionaryRef properties,
                                    const std::vector<mis::swizzler<QrxHIDCapability>>& capabilities)
{
    // Held from the start: `_addReport` and `_setParent` make handles on it, and the last of them would delete it.
    const mis::swizzler<_QrxHIDReportImpl> report(new _QrxHIDReportImpl);
    report->_setInterfaceNumber(interfaceNumber);
    report->_setReportID(reportID);
    report->_initWithProperties(properties);
    report->_addCapabilities(capabilities);
    QrxHIDDevice::_addReport(mis::swizzler<QrxHIDReport>(report));
}

size_t _QrxHIDDeviceImpl::getElementCount() const
{
    size_t count = 0;
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        count += interface->getElementCount();
    }
    return count;
}

mis::swizzler<QrxHIDElement> _QrxHIDDeviceImpl::getElementAtIndex(unsigned int index) const
{
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        const size_t count = interface->getElementCount();
        if (index < count) {
            return interface->getElementAtIndex(index);
        }
        // The index continues in the next interface, so it counts from that interface's first element.
        index -= static_cast<unsigned int>(count);
    }
    return {};
}

bool _QrxHIDDeviceImpl::operator==(const QrxHIDDevice& other) const
{
    // Devices of other classes have no registry entry to compare; they are equal only to themselves.
    if (const auto* device = dynamic_cast<const _QrxHIDDeviceImpl*>(&other)) {
        return *this == device->_entry;
    }
    return QrxHIDDevice::operator==(other);
}

bool _QrxHIDDeviceImpl::operator==(const _QrxHIDDeviceImpl& other) const
{
    return *this == other._entry;
}

bool _QrxHIDDeviceImpl::operator==(unsigned int entry) const
{
    if (_entry == 0 || entry == 0) {
        return _entry == entry;
    }
    // The platform decides whether two handles name the same entry.
    return IOObjectIsEqualTo(_entry, entry) != 0;
}

void _QrxHIDDeviceImpl::_initWithEntry(unsigned int entry)
{
    if (entry == 0 || _entry != 0 || !IOObjectConformsTo(entry, kIOUSBDeviceClassName)) {
        return;
    }
    IOObjectRetain(entry);
    _entry = entry;
    _properties = properties::snapshot(entry);
    // The interfaces come first: reports are made from their elements. The fast path is not taken when any object on
    // the way is of a derived class, whose overrides `init` would call.
    _findInterfaces();
    if (!_findReportsInOneWalk()) {
        init();
    }
}

bool _QrxHIDDeviceImpl::_findReportsInOneWalk()
{
    if (!isExactly<_QrxHIDDeviceImpl>(*this)) {
        return false;
    }
    ReportIndex index;
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        if (!isExactly<_QrxHIDInterfaceMac>(*interface)) {
            return false;
        }
        for (unsigned int element = 0; element < interface->getElementCount(); ++element) {
            if (!index.add(interface->getElementAtIndex(element), interface->getInterfaceNumber())) {
                return false;
            }
        }
    }
    // The descriptions of an interface's reports are read once, when the first of them is made: looking each one up
    // would read the whole array again for every report.
    std::vector<std::pair<int, properties::NumberedEntries>> describedReports;
    for (const ReportIndex::Report& report : index.takeReports()) {
        auto described = std::find_if(describedReports.begin(), describedReports.end(),
                                      [&report](const auto& known) { return known.first == report.interfaceNumber; });
        if (described == describedReports.end()) {
            const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface(report.interfaceNumber);
            describedReports.emplace_back(report.interfaceNumber,
                                          interface ? interface->_reportProperties() : properties::NumberedEntries());
            described = std::prev(describedReports.end());
        }
        _makeReport(report.interfaceNumber, report.reportID,
                    properties::entryWithNumber(described->second, report.reportID), report.capabilities);
    }
    return true;
}

void _QrxHIDDeviceImpl::_findInterfaces()
{
    _findInterfaces(_entry);
}

void _QrxHIDDeviceImpl::_findInterfaces(unsigned int entry)
{
    if (entry == 0) {
        return;
    }
    RegistryHandle children;
    IORegistryEntryGetChildIterator(entry, "IOService", children.out());
    while (const RegistryHandle child{IOIteratorNext(children.get())}) {
        if (!IOObjectConformsTo(child.get(), kIOUSBInterfaceClassName)) {
            // Between the device and its interfaces there may be entries of other classes (a driver of a composite
            // device on macOS), so the search goes on below them.
            _findInterfaces(child.get());
            continue;
        }
        const mis::swizzler<_QrxHIDInterfaceMac> interface(new _QrxHIDInterfaceMac);
        interface->_initWithEntry(child.get());
        _addInterface(interface);
    }
}

mis::swizzler<_QrxHIDInterfaceMac> _QrxHIDDeviceImpl::_getInterface(int interfaceNumber) const
{
    // -1 stands for "no interface" with callers; no USB interface has a negative number.
    if (interfaceNumber < 0) {
        return {};
    }
    for (const mis::swizzler<_QrxHIDInterfaceMac>& interface : _interfaces) {
        if (interface->getInterfaceNumber() == interfaceNumber) {
            return interface;
        }
    }
    return {};
}

void _QrxHIDDeviceImpl::_addInterface(mis::swizzler<_QrxHIDInterfaceMac> interface)
{
    if (!interface) {
        return;
    }
    for (const mis::swizzler<_QrxHIDInterfaceMac>& known : _interfaces) {
        // The registry is a graph: an interface that can be reached on two ways is found twice.
        if (*known == *interface) {
            return;
        }
    }
    _interfaces.push_back(interface);
    const SelfHold self(*this);
    // The device may still be held by nobody; the hold above lends it a reference for the handle.
    interface->_setParent(mis::swizzler<QrxDeviceTreeNode>(this));
}
