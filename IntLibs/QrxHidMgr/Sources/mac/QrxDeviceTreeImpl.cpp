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

/// Fewer are compared one by one, which takes no longer.
constexpr std::size_t kFewDevices = 64;

// macOS 12 gave this call a second name. The first one exists everywhere and does the same.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

void findMasterPort(RegistryHandle& masterPort)
{
    IOMasterPort(bootstrap_port, masterPort.out());
}

#pragma GCC diagnostic pop

/// One run over the tree's own state that calls the application. It holds the tree, and it knows when nobody else does
/// any more: then there is nobody left to tell, and the delegate may be gone with the owner.
class Walk {
public:
    explicit Walk(QrxDeviceTree& tree) : _tree(tree), _hadHolder(hasHolder()), _hold(tree), _outer(sm_Innermost)
    {
        sm_Innermost = this;
    }
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;
    ~Walk() { sm_Innermost = _outer; }

    /// A tree that never had a holder (on a stack) is wanted all the time.
    bool isWanted() const { return !_hadHolder || hasHolder(); }

private:
    /// Somebody but the walks under way holds the tree. Walks nest: a delegate may populate while it is told.
    bool hasHolder() const
    {
        unsigned int count = 0;
        for (const Walk* walk = sm_Innermost; walk != nullptr; walk = walk->_outer) {
            count += &walk->_tree == &_tree ? 1U : 0U;
        }
        return _tree.getReferenceCount() > count;
    }

    static thread_local Walk* sm_Innermost;

    QrxDeviceTree& _tree;
    const bool _hadHolder;
    const SelfHold _hold;
    Walk* _outer;
};

thread_local Walk* Walk::sm_Innermost = nullptr;

CFDictionaryRef retained(CFDictionaryRef dictionary)
{
    if (dictionary != nullptr) {
        CFRetain(dictionary);
    }
    return dictionary;
}

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
    // What is declared last goes first: the dictionary, the iterator, the port.
    RegistryHandle masterPort;
    RegistryHandle present;
    findMasterPort(masterPort);
    const PropertyHandle owned(IOServiceMatching(kIOUSBDeviceClassName));
    const auto matching = static_cast<CFDictionaryRef>(owned.get());
    // The call takes one reference with it.
    IOServiceGetMatchingServices(masterPort.get(), retained(matching), present.out());
    _devicesAddedNotification(present.get());
}

void _QrxDeviceTreeImpl::observe(const std::vector<std::pair<unsigned short, unsigned short>>& ids)
{
    QrxDeviceTree::observe(ids);
    if (_notificationPort != nullptr) {
        return;
    }
    const Walk walk(*this);
    try {
        _beginObserving();
    } catch (const std::bad_alloc&) {
        // The next call begins anew: devices may be missing, or their end would not be heard.
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
        // Also after an exception of the delegate: the port is there, so no later call would do it.
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
            // A loop cannot be had now; the next call is the first one again.
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
    // The first run reports who is present and arms the notification.
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
    const std::size_t place = placeOfFirst(_devices, nullptr, [&](const mis::swizzler<QrxHIDDevice>& listed) {
        const auto* device = dynamic_cast<const _QrxHIDDeviceImpl*>(listed.get());
        return device != nullptr && *device == entry;
    });
    if (place != _devices.size()) {
        const mis::swizzler<QrxHIDDevice> device = std::move(_devices[place]);
        _devices.erase(_devices.begin() + static_cast<std::ptrdiff_t>(place));
        _index.remove(entry);
        _announceRemoval(device);
    }
}

// An iterator has to be emptied, or its notification never comes again. So an exception of the delegate waits until the
// others of the burst were told.

void _QrxDeviceTreeImpl::_devicesAddedNotification(unsigned int iterator)
{
    if (iterator == 0) {
        return;
    }
    const Walk walk(*this);
    FirstException failure;
    while (walk.isWanted()) {
        const RegistryHandle entry(IOIteratorNext(iterator));
        if (!entry) {
            break;
        }
        failure.watch([&] { _addEntry(entry.get()); });
    }
    failure.rethrow();
}

void _QrxDeviceTreeImpl::_addEntry(unsigned int entry)
{
    if (!_probeDevice(entry)) {
        return;
    }
    const mis::swizzler<_QrxHIDDeviceImpl> device(new _QrxHIDDeviceImpl);
    device->_initWithEntry(entry);
    _addDevice(device);
}

void _QrxDeviceTreeImpl::_devicesRemovedNotification(unsigned int iterator)
{
    if (iterator == 0) {
        return;
    }
    const Walk walk(*this);
    FirstException failure;
    while (walk.isWanted()) {
        const RegistryHandle entry(IOIteratorNext(iterator));
        if (!entry) {
            break;
        }
        failure.watch([&] { _removeDevice(entry.get()); });
    }
    failure.rethrow();
}
