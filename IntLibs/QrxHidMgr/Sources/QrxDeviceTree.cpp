#include "QrxDeviceTree.h"

#include "BoundsTesting.h"
#include "DeviceSearch.h"
#include "FirstException.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxDeviceTreeImpl.h"
#include "QrxDeviceTreeRemovalInterface.h"
#include "QrxHIDDeviceEventInterface.h"
#include "SelfReference.h"

#include <cstddef>
#include <iostream>
#include <utility>

namespace {

// The kinds of `deviceNotification`. Applications override it and compare with the numbers, so they are part of the
// interface.
constexpr unsigned int kDeviceAdded = 1;
constexpr unsigned int kDeviceRemoved = 2;

} // namespace

mis::swizzler<QrxDeviceTree> QrxDeviceTree::NewInstance()
{
    return mis::swizzler<QrxDeviceTree>(new _QrxDeviceTreeImpl);
}

QrxDeviceTree::QrxDeviceTree() : _delegate(nullptr), _removalListener(nullptr) {}

QrxDeviceTree::~QrxDeviceTree()
{
    for (std::size_t index = 0; index < _devices.size(); ++index) {
        // All links are cut before the first device is released: a delegate that ends with one device may ask another
        // one for its tree, which must then be none rather than this half destroyed one.
        _devices[index]->_forgetParent(this);
    }
    // One by one, since the order is promised and that of the vector's destructor is not. The last release of a device
    // deletes its delegate, so the application's code runs here.
    for (std::size_t index = 0; index < _devices.size(); ++index) {
        _devices[index].release();
    }
}

void QrxDeviceTree::populate(unsigned short vendorID, unsigned short productID)
{
    const std::vector<std::pair<unsigned short, unsigned short>> ids(1, std::make_pair(vendorID, productID));
    populate(ids);
}

void QrxDeviceTree::populate(const std::vector<std::pair<unsigned short, unsigned short>>& ids)
{
    _vendorAndProductIDs = ids;
}

void QrxDeviceTree::observe(unsigned short vendorID, unsigned short productID)
{
    const std::vector<std::pair<unsigned short, unsigned short>> ids(1, std::make_pair(vendorID, productID));
    observe(ids);
}

void QrxDeviceTree::observe(const std::vector<std::pair<unsigned short, unsigned short>>& ids)
{
    _vendorAndProductIDs = ids;
}

void QrxDeviceTree::deviceNotification(unsigned int kind, mis::swizzler<QrxHIDDevice> device)
{
    // Kinds other than "added" never reach the delegate, see below.
    if (kind == kDeviceAdded && _delegate != nullptr) {
        // The delegate may ask for this tree, drop the last handle on it, replace itself or throw.
        const SelfHold self(*this);
        _delegate->deviceAdded(device);
        return;
    }
    if (kind == kDeviceAdded) {
        std::cout << "device notification: device added\n";
        return;
    }
    // Deliberate: only `deviceAdded` is called from here; other kinds write this line and nothing else. A delegate
    // that wants removals is told by `_announceRemoval`.
    std::cout << "device notification: id " << kind << "\n";
}

unsigned int QrxDeviceTree::getHIDDeviceCount()
{
    // The interface counts in `unsigned int`. USB addresses at most 127 devices on a bus, so no list comes near its
    // limit.
    return static_cast<unsigned int>(_devices.size());
}

mis::swizzler<QrxHIDDevice> QrxDeviceTree::getDeviceAtIndex(unsigned int index)
{
    return entryAt(_devices, index);
}

std::vector<std::pair<unsigned short, unsigned short>>& QrxDeviceTree::getVendorAndProductIDs()
{
    return _vendorAndProductIDs;
}

void QrxDeviceTree::_addDevice(mis::swizzler<QrxHIDDevice> device)
{
    if (!device || !device->isHID()) {
        return;
    }
    // A device's `operator==` may be the application's and may drop the last handle on this tree; the hold keeps the
    // list valid. The size is read anew for each step because the same code may list or remove devices.
    const SelfHold self(*this);
    for (std::size_t index = 0; index < _devices.size(); ++index) {
        // The listed device is asked, not the new one: it decides what it is equal to.
        if (*_devices[index] == *device) {
            return;
        }
    }
    _listDevice(device);
}

void QrxDeviceTree::_listDevice(const mis::swizzler<QrxHIDDevice>& device)
{
    // The notification calls the application, which may drop the tree. The device is listed and has its parent before
    // it is announced: a delegate may look it up, open it or remove it at once.
    const SelfHold self(*this);
    _devices.push_back(device);
    device->_setParent(mis::swizzler<QrxDeviceTreeNode>(this));
    deviceNotification(kDeviceAdded, device);
}

void QrxDeviceTree::_removeDevice(mis::swizzler<QrxHIDDevice> device)
{
    if (!device) {
        return;
    }
    const SelfHold self(*this);
    const std::size_t place = placeOfFirst(
        _devices, device.get(), [&](const mis::swizzler<QrxHIDDevice>& listed) { return *listed == *device; });
    if (place == _devices.size()) {
        return;
    }
    // The entry leaves the list before it is released. If it is an equal object and not `device` itself, its last
    // handle may go here and its delegate with it, whose destructor may look at the list.
    mis::swizzler<QrxHIDDevice> listed = std::move(_devices[place]);
    _devices.erase(_devices.begin() + static_cast<std::ptrdiff_t>(place));
    listed.release();
    // Deliberate: the device keeps its link to this tree; only the tree's end clears it. So a removed device still
    // answers `getDeviceTree`.
    _announceRemoval(device);
}

void QrxDeviceTree::_announceRemoval(const mis::swizzler<QrxHIDDevice>& device)
{
    // Each of the calls may drop the tree.
    const SelfHold self(*this);
    deviceNotification(kDeviceRemoved, device);
    // Without a listener the application closes the device itself (QrxDeviceTreeRemovalInterface.h).
    if (_removalListener == nullptr && device->_getEventListener() == nullptr) {
        return;
    }
    FirstException failure;
    failure.watch([&] {
        if (_removalListener != nullptr) {
            _removalListener->deviceRemoved(device);
        }
    });
    failure.watch([&] {
        // Asked for anew: the delegate may have been replaced.
        if (QrxHIDDeviceEventInterface* const listener = device->_getEventListener()) {
            listener->deviceRemoved(device);
        }
    });
    // Closed here, so that an application with a listener need not keep a handle on the device just to close it.
    failure.watch([&] { device->close(); });
    failure.rethrow();
}

bool QrxDeviceTree::hasDelegate() const
{
    return _delegate != nullptr;
}

void QrxDeviceTree::setDelegate(QrxDeviceTreeDelegateInterface* delegate)
{
    _delegate = delegate;
    _removalListener = dynamic_cast<QrxDeviceTreeRemovalInterface*>(delegate);
}
