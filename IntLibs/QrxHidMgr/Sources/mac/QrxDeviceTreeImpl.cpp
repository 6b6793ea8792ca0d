// How devices are found. `populate` asks the registry once for all USB device entries; `observe` subscribes to two
// notifications, "first match" and "terminated". All three give an iterator over entries, and the tree compares the IDs
// of each with its list itself, since a matching dictionary holds one pair and the list has many.
//
// A notification is armed by emptying its iterator: the first run of an iterator reports what is there already, and a
// new one comes only after the old one was read to its end. So every iterator is drained whatever a delegate does
// meanwhile. During each step the application may run: it may open, close or drop devices, populate again, drop the
// tree, or throw.

#include "QrxDeviceTreeImpl.h"

#include "DeviceSearch.h"
#include "ExactClass.h"
#include "FirstException.h"
#include "PropertyHandle.h"
#include "PropertyReading.h"
#include "QrxHIDDeviceImpl.h"
#include "RegistryHandle.h"
#include "SelfReference.h"

#include <IOKit/usb/IOUSBLib.h>
#include <mach/mach.h>

#include <cstddef>
#include <new>
#include <utility>

using namespace qrx;

namespace {

/// With fewer listed devices the comparison of each takes no longer than keeping the index.
constexpr std::size_t kFewDevices = 64;

// macOS 12 gave this call a second name. The first one exists everywhere and does the same.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

void findMasterPort(RegistryHandle& masterPort)
{
    IOMasterPort(bootstrap_port, masterPort.out());
}

#pragma GCC diagnostic pop

/// One pass over the tree's devices that calls the application. It holds the tree, and it can tell when nobody else
/// does any more: then the delegate may be gone with the owner, and the pass must stop.
class Walk {
public:
    explicit Walk(QrxDeviceTree& tree) : _tree(tree), _hadHolder(hasHolder()), _hold(tree), _outer(sm_Innermost)
    {
        sm_Innermost = this;
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk() { sm_Innermost = _outer; }

    /// A tree that had no holder at the start (one on a stack) is always wanted.
    bool isWanted() const { return !_hadHolder || hasHolder(); }

private:
    /// True if somebody other than the walks under way holds the tree. Walks nest: a delegate may call `populate` while
    /// it is told of a device. The operation that told it holds the tree as well and counts as a holder: the inner walk
    /// then goes on to its end, and the outer one stops.
    bool hasHolder() const
    {
        unsigned int count = 0;
        for (const Walk* walk = sm_Innermost; walk != nullptr; walk = walk->_outer) {
            // A walk of another tree may lie between two of this one, on the same thread.
            count += &walk->_tree == &_tree ? 1U : 0U;
        }
        return _tree.getReferenceCount() > count;
    }

    // A list through the stacks of the thread: each walk knows the next outer one.
    static thread_local Walk* sm_Innermost;

    QrxDeviceTree& _tree;
    const bool _hadHolder;
    const SelfHold _hold;
    Walk* _outer;
};

thread_local Walk* Walk::sm_Innermost = nullptr;

/// Reads the iterator to its end, because a notification calls again only after that. So an exception of the delegate
/// is kept until the other devices of the burst were reported, and is rethrown then. The walk ends early only when
/// nobody holds the tree any more.
template <class Handle>
void forEachEntry(QrxDeviceTree& tree, io_iterator_t iterator, Handle handle)
{
    if (iterator == 0) {
        return;
    }
    const Walk walk(tree);
    FirstException failure;
    while (walk.isWanted()) {
        const RegistryHandle entry(IOIteratorNext(iterator));
        if (!entry) {
            break;
        }
        failure.watch([&] { handle(entry.get()); });
    }
    failure.rethrow();
}

CFDictionaryRef retained(CFDictionaryRef dictionary)
{
    if (dictionary != nullptr) {
        // The matching calls take over one reference on the dictionary that they are given, also when they fail.
        CFRetain(dictionary);
    }
    return dictionary;
}

// The tree is not held for the call: the source that calls is invalidated before the tree ends, so a tree that is
// called exists.
void USBDevicesAdded(void* refcon, io_iterator_t iterator)
{
    if (iterator == 0 || refcon == nullptr) {
        return;
    }
    static_cast<_QrxDeviceTreeImpl*>(refcon)->_devicesAddedNotification(iterator);
}

void USBDevicesRemoved(void* refcon, io_iterator_t iterator)
{
    if (iterator == 0 || refcon == nullptr) {
        return;
    }
    static_cast<_QrxDeviceTreeImpl*>(refcon)->_devicesRemovedNotification(iterator);
}

} // namespace

_QrxDeviceTreeImpl::_QrxDeviceTreeImpl()
    : _notificationPort(nullptr), _runLoopSource(nullptr), _arrivals(0), _terminations(0)
{
}

_QrxDeviceTreeImpl::~_QrxDeviceTreeImpl()
{
    _endObserving();
}

void _QrxDeviceTreeImpl::_endObserving()
{
    // The port first: while it is open, a callback could still come with the iterators that are released next.
    _closeNotificationPort();
    if (_arrivals != 0) {
        IOObjectRelease(_arrivals);
        _arrivals = 0;
    }
    if (_terminations != 0) {
        IOObjectRelease(_terminations);
        _terminations = 0;
    }
}

void _QrxDeviceTreeImpl::populate(const std::vector<std::pair<unsigned short, unsigned short>>& ids)
{
    QrxDeviceTree::populate(ids);
    // Handles are released in the reverse order of their declaration: the dictionary, the iterator, the port.
    RegistryHandle masterPort;
    RegistryHandle present;
    findMasterPort(masterPort);
    // The class name comes from the platform's own macro: it names the old or the new USB stack, depending on the
    // oldest system that the library is built for.
    const PropertyHandle owned(IOServiceMatching(kIOUSBDeviceClassName));
    const auto matching = static_cast<CFDictionaryRef>(owned.get());
    // The call consumes one reference on the dictionary; the handle keeps its own.
    IOServiceGetMatchingServices(masterPort.get(), retained(matching), present.out());
    _devicesAddedNotification(present.get());
}

void _QrxDeviceTreeImpl::observe(const std::vector<std::pair<unsigned short, unsigned short>>& ids)
{
    QrxDeviceTree::observe(ids);
    if (_notificationPort != nullptr) {
        return;
    }
    // Holds the tree for the handler below. A walk and not a `SelfHold`, which the walks inside would take for a holder
    // and go on after the application has dropped the tree.
    const Walk walk(*this);
    try {
        _beginObserving();
    } catch (const std::bad_alloc&) {
        // Half of the subscriptions would mean devices that are missing or whose removal is never noticed. Nothing is
        // kept, and the next call begins anew.
        _endObserving();
        throw;
    }
}

void _QrxDeviceTreeImpl::_beginObserving()
{
    RegistryHandle masterPort;
    findMasterPort(masterPort);
    if (!_openNotificationPort(masterPort.get())) {
        return;
    }
    const PropertyHandle owned(IOServiceMatching(kIOUSBDeviceClassName));
    const auto matching = static_cast<CFDictionaryRef>(owned.get());
    const Walk walk(*this);
    FirstException failure;
    failure.watch([&] { _watchArrivals(matching); });
    if (walk.isWanted()) {
        // Also after an exception of the delegate: the port exists by now, so no later call would subscribe to
        // terminations.
        failure.watch([&] { _watchTerminations(matching); });
    }
    failure.rethrow();
}

bool _QrxDeviceTreeImpl::_openNotificationPort(mach_port_t masterPort)
{
    _notificationPort = IONotificationPortCreate(masterPort);
    if (_notificationPort == nullptr) {
        return false;
    }
    _runLoopSource = IONotificationPortGetRunLoopSource(_notificationPort);
    if (_runLoopSource != nullptr) {
        try {
            CFRunLoopAddSource(CFRunLoopGetCurrent(), _runLoopSource, kCFRunLoopDefaultMode);
        } catch (...) {
            // The source is in no loop. Without the port, the next call is the first one again.
            _closeNotificationPort();
            throw;
        }
    }
    return true;
}

void _QrxDeviceTreeImpl::_closeNotificationPort()
{
    if (_runLoopSource != nullptr) {
        // Deliberate: the source is released although the port only lent it, and the port is never destroyed.
        // Invalidating the source stops the deliveries.
        CFRunLoopSourceInvalidate(_runLoopSource);
        CFRelease(_runLoopSource);
        _notificationPort = nullptr;
        _runLoopSource = nullptr;
    }
}

void _QrxDeviceTreeImpl::_watchArrivals(CFDictionaryRef matching)
{
    IOServiceAddMatchingNotification(_notificationPort, "IOServiceFirstMatch", retained(matching), &USBDevicesAdded,
                                     this, &_arrivals);
    // Emptying the iterator reports the devices that are present and arms the notification.
    _devicesAddedNotification(_arrivals);
}

void _QrxDeviceTreeImpl::_watchTerminations(CFDictionaryRef matching)
{
    IOServiceAddMatchingNotification(_notificationPort, "IOServiceTerminate", retained(matching), &USBDevicesRemoved,
                                     this, &_terminations);
    _devicesRemovedNotification(_terminations);
}

void _QrxDeviceTreeImpl::_addDevice(mis::swizzler<QrxHIDDevice> device)
{
    const auto* own = exactly<_QrxHIDDeviceImpl>(device.get());
    const bool isIndexed = own != nullptr && own->_getEntry() != 0 && isExactly<_QrxDeviceTreeImpl>(*this) &&
                           _devices.size() >= kFewDevices && _index.follow(_devices);
    // Whenever the base class compares and lists by itself, the index no longer knows the list.
    if (!isIndexed) {
        _index.clear();
        QrxDeviceTree::_addDevice(device);
    } else if (own->isHID() && !_index.has(own->_getEntry())) {
        _index.add(own->_getEntry());
        _listDevice(device);
    }
}

bool _QrxDeviceTreeImpl::_probeDevice(unsigned int entry) const
{
    if (entry == 0) {
        return false;
    }
    // Two properties are read, not the whole table: most devices of a machine are not wanted, and this runs for each of
    // them.
    const int vendorID = properties::liveNumber(entry, CFSTR("idVendor"));
    const int productID = properties::liveNumber(entry, CFSTR("idProduct"));
    for (const auto& [wantedVendorID, wantedProductID] : _vendorAndProductIDs) {
        if ((vendorID == wantedVendorID || wantedVendorID == 0) &&
            (productID == wantedProductID || wantedProductID == 0)) {
            return true;
        }
    }
    return false;
}

void _QrxDeviceTreeImpl::_removeDevice(unsigned int entry)
{
    if (entry == 0) {
        return;
    }
    // By entry, not by IDs: the entry of a terminated device is the same object as that of the device that was listed,
    // while a second device of the same kind has another one.
    const std::size_t place = placeOfFirst(_devices, nullptr, [&](const mis::swizzler<QrxHIDDevice>& listed) {
        const auto* device = dynamic_cast<const _QrxHIDDeviceImpl*>(listed.get());
        return device != nullptr && *device == entry;
    });
    if (place != _devices.size()) {
        const mis::swizzler<QrxHIDDevice> device = std::move(_devices[place]);
        // Off the list and out of the index before anybody is told: the delegate sees a list without the device.
        _devices.erase(_devices.begin() + static_cast<std::ptrdiff_t>(place));
        _index.remove(entry);
        _announceRemoval(device);
    }
}

void _QrxDeviceTreeImpl::_devicesAddedNotification(unsigned int iterator)
{
    forEachEntry(*this, iterator, [this](unsigned int entry) { _addEntry(entry); });
}

void _QrxDeviceTreeImpl::_addEntry(unsigned int entry)
{
    if (!_probeDevice(entry)) {
        return;
    }
    const mis::swizzler<_QrxHIDDeviceImpl> device(new _QrxHIDDeviceImpl);
    // The device is complete, reports included, before it is offered to the list: its application sees it only then.
    device->_initWithEntry(entry);
    _addDevice(device);
}

void _QrxDeviceTreeImpl::_devicesRemovedNotification(unsigned int iterator)
{
    forEachEntry(*this, iterator, [this](unsigned int entry) { _removeDevice(entry); });
}
