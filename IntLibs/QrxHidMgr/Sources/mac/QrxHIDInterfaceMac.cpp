// One USB interface, filled in two walks down the registry from its entry: one for the "Elements" that a driver
// publishes, one for the driver itself. On our own ground both are found directly below the interface; on macOS other
// entries may lie between, and the two need not be the same entry.
//
// "Elements" is nested: an array of dictionaries, each of which describes a field or, with a "CollectionType", a
// collection with an array "Elements" of its own. The tree of objects mirrors it one to one.

#include "QrxHIDInterfaceMac.h"

#include "ExactClass.h"
#include "PropertyHandle.h"
#include "PropertyReading.h"
#include "QrxHIDCapabilityImpl.h"
#include "QrxHIDCollectionImpl.h"
#include "RegistryHandle.h"
#include "SelfReference.h"

#include <IOKit/usb/IOUSBLib.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <stdexcept>
#include <utility>

using namespace qrx;

namespace {

template <class Record>
mis::swizzler<Record> recordOf(CFDictionaryRef dictionary)
{
    mis::swizzler<Record> record(new Record);
    // The record retains the dictionary, so it stays when the array that it came in is released.
    record->_initWithProperties(dictionary);
    return record;
}

} // namespace

_QrxHIDInterfaceMac::_QrxHIDInterfaceMac() : _entry(0), _properties(nullptr), _interfaceNumber(0) {}

_QrxHIDInterfaceMac::~_QrxHIDInterfaceMac()
{
    for (const mis::swizzler<QrxHIDElement>& element : _elements) {
        if (element) {
            element->_forgetParent(this);
        }
    }
    if (_connection) {
        // As in every parent: all links are cut before anything is released.
        _connection->_forgetParent(this);
    }
    if (_properties != nullptr) {
        CFRelease(_properties);
        _properties = nullptr;
    }
    if (_entry != 0) {
        IOObjectRelease(_entry);
        _entry = 0;
    }
    // The connection before the elements: its end closes the device interface, after which no report can come.
    _connection.release();
    // One by one, since the order is promised and that of the vector's destructor is not.
    for (mis::swizzler<QrxHIDElement>& element : _elements) {
        element.release();
    }
}

void _QrxHIDInterfaceMac::_initWithEntry(unsigned int entry)
{
    if (entry == 0 || _entry != 0 || !IOObjectConformsTo(entry, kIOUSBInterfaceClassName)) {
        return;
    }
    IOObjectRetain(entry);
    _entry = entry;
    _properties = properties::snapshot(entry);
    // Kept as a number, because it is needed with every report that arrives.
    _interfaceNumber = properties::number(_properties, CFSTR("bInterfaceNumber"));
    _findElements();
    _findHIDDriver();
}

void _QrxHIDInterfaceMac::_findElements()
{
    _findElements(_entry);
}

void _QrxHIDInterfaceMac::_findElements(unsigned int entry)
{
    if (entry == 0) {
        return;
    }
    RegistryHandle children;
    IORegistryEntryGetChildIterator(entry, "IOService", children.out());
    while (const RegistryHandle child{IOIteratorNext(children.get())}) {
        // Deliberate: this is the property of `entry` itself, read once for each of its children and never released. So
        // the elements of a driver appear once for each child that it has, and not at all when it has none. Our own
        // ground gives every driver exactly one client child.
        const CFTypeRef elements = properties::elements(entry);
        if (elements == nullptr) {
            _findElements(child.get());
            continue;
        }
        const std::vector<mis::swizzler<QrxHIDElement>> created = _createElements(elements);
        if (!created.empty()) {
            _addElements(created);
        }
    }
}

std::vector<mis::swizzler<QrxHIDElement>> _QrxHIDInterfaceMac::_createElements(const void* value)
{
    std::vector<mis::swizzler<QrxHIDElement>> result;
    if (value == nullptr) {
        return result;
    }
    if (CFGetTypeID(value) == CFDictionaryGetTypeID()) {
        result.emplace_back(_createElement(static_cast<CFDictionaryRef>(value)));
        return result;
    }
    if (CFGetTypeID(value) != CFArrayGetTypeID()) {
        return result;
    }
    const auto array = static_cast<CFArrayRef>(value);
    const CFIndex count = CFArrayGetCount(array);
    const bool isPlain = isExactly<_QrxHIDInterfaceMac>(*this);
    result.reserve(static_cast<std::size_t>(count));
    for (CFIndex index = 0; index < count; ++index) {
        const void* item = CFArrayGetValueAtIndex(array, index);
        // The usual item is a dictionary. It is taken without a list of one; a derived class, which could tell by the
        // calls of `_createElements`, gets the whole way.
        if (isPlain && item != nullptr && CFGetTypeID(item) == CFDictionaryGetTypeID()) {
            result.emplace_back(_createElement(static_cast<CFDictionaryRef>(item)));
            continue;
        }
        std::vector<mis::swizzler<QrxHIDElement>> items = _createElements(item);
        std::move(items.begin(), items.end(), std::back_inserter(result));
    }
    return result;
}

mis::swizzler<QrxHIDElement> _QrxHIDInterfaceMac::_createElement(CFDictionaryRef dictionary)
{
    if (!CFDictionaryContainsKey(dictionary, CFSTR("CollectionType"))) {
        return recordOf<_QrxHIDCapabilityImpl>(dictionary);
    }
    const auto collection = recordOf<_QrxHIDCollectionImpl>(dictionary);
    if (const void* below = CFDictionaryGetValue(dictionary, CFSTR("Elements"))) {
        // The recursion ends with the property object, which was built from a descriptor of limited depth.
        collection->_addElements(_createElements(below));
    }
    return collection;
}

void _QrxHIDInterfaceMac::_findHIDDriver()
{
    _findHIDDriver(_entry);
}

void _QrxHIDInterfaceMac::_findHIDDriver(unsigned int entry)
{
    if (entry == 0) {
        return;
    }
    bool isMemoryShort = false;
    RegistryHandle children;
    IORegistryEntryGetChildIterator(entry, "IOService", children.out());
    while (const RegistryHandle child{IOIteratorNext(children.get())}) {
        if (!IOObjectConformsTo(child.get(), "IOHIDDevice")) {
            _findHIDDriver(child.get());
            continue;
        }
        // Deliberate: if there is no memory for the connection, the next child is tried.
        const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection(new (std::nothrow) _QrxHIDDeviceConnectionImpl);
        if (connection) {
            connection->_initWithEntry(child.get());
            _adoptConnection(connection);
            // Deliberate: only this level stops. A driver found later below another child replaces this one.
            break;
        }
        isMemoryShort = true;
    }
    if (isMemoryShort && !_connection) {
        // A device is built only once, so it would never be HID. With an exception, whoever builds it can try again.
        throw std::bad_alloc();
    }
}

void _QrxHIDInterfaceMac::_adoptConnection(const mis::swizzler<_QrxHIDDeviceConnectionImpl>& connection)
{
    const SelfHold self(*this);
    _connection = connection;
    _connection->_setParent(mis::swizzler<QrxDeviceTreeNode>(this));
}

const __CFDictionary* _QrxHIDInterfaceMac::_findReportProperties(unsigned int reportID)
{
    return _connection ? _connection->_findReportProperties(reportID) : nullptr;
}

properties::NumberedEntries _QrxHIDInterfaceMac::_reportProperties() const
{
    return properties::numberedEntries(_connection ? _connection->_borrowedProperties() : nullptr,
                                       CFSTR("InputReportElements"), CFSTR("ReportID"));
}

// What is forwarded below may run code of the application (a virtual device that answers), which may drop the device
// and this interface with it. So the connection is held by a handle of its own, and no field is used after the call.

void _QrxHIDInterfaceMac::open()
{
    if (const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection = _connection) {
        connection->open();
    }
}

void _QrxHIDInterfaceMac::close()
{
    if (const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection = _connection) {
        connection->close();
    }
}

void _QrxHIDInterfaceMac::setReport(unsigned int type, unsigned int reportID, std::valarray<unsigned char> bytes)
{
    if (const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection = _connection) {
        connection->setReport(type, reportID, bytes);
    }
}

bool _QrxHIDInterfaceMac::isHID() const
{
    // Elements without a driver cannot be opened, and a driver without elements has no fields to show.
    return !_elements.empty() && _connection;
}

uint32_t _QrxHIDInterfaceMac::getVendorID() const
{
    return properties::bits(_properties, CFSTR("idVendor"));
}

uint32_t _QrxHIDInterfaceMac::getProductID() const
{
    return properties::bits(_properties, CFSTR("idProduct"));
}

uint32_t _QrxHIDInterfaceMac::getClass() const
{
    return properties::bits(_properties, CFSTR("bInterfaceClass"));
}

uint32_t _QrxHIDInterfaceMac::getSubclass() const
{
    return properties::bits(_properties, CFSTR("bInterfaceSubClass"));
}

uint32_t _QrxHIDInterfaceMac::getProtocol() const
{
    return properties::bits(_properties, CFSTR("bInterfaceProtocol"));
}

uint32_t _QrxHIDInterfaceMac::getPrimaryUsagePage() const
{
    return _connection ? _connection->getPrimaryUsagePage() : 0;
}

uint32_t _QrxHIDInterfaceMac::getPrimaryUsage() const
{
    return _connection ? _connection->getPrimaryUsage() : 0;
}

size_t _QrxHIDInterfaceMac::getInputReportSize() const
{
    return _connection ? _connection->getInputReportSize() : 0;
}

size_t _QrxHIDInterfaceMac::getOutputReportSize() const
{
    return _connection ? _connection->getOutputReportSize() : 0;
}

size_t _QrxHIDInterfaceMac::getFeatureReportSize() const
{
    return _connection ? _connection->getFeatureReportSize() : 0;
}

size_t _QrxHIDInterfaceMac::getElementCount() const
{
    return _elements.size();
}

mis::swizzler<QrxHIDElement> _QrxHIDInterfaceMac::getElementAtIndex(unsigned int index)
{
    if (index >= _elements.size()) {
        throw std::out_of_range("vector [] access out of range");
    }
    return _elements[index];
}

void _QrxHIDInterfaceMac::_addElements(const std::vector<mis::swizzler<QrxHIDElement>>& elements)
{
    const SelfHold self(*this);
    _elements.reserve(_elements.size() + elements.size());
    for (const mis::swizzler<QrxHIDElement>& element : elements) {
        if (element) {
            _elements.push_back(element);
            element->_setParent(mis::swizzler<QrxDeviceTreeNode>(this));
        }
    }
}

bool _QrxHIDInterfaceMac::operator==(const _QrxHIDInterfaceMac& other) const
{
    // The platform must not be asked about handle 0, which names nothing.
    if (_entry == 0 || other._entry == 0) {
        return _entry == other._entry;
    }
    return IOObjectIsEqualTo(_entry, other._entry) != 0;
}

void _QrxHIDInterfaceMac::__handleReport(std::valarray<unsigned char>)
{
    // Deliberate: input does not pass through the interface; a connection hands it to the device.
}
