#pragma once

#include "DeviceIndex.h"
#include "QrxDeviceTree.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <utility>
#include <vector>

/// The tree of this platform: finds the USB device entries of the registry that match the application's list, once
/// (populate) and as they come and go (observe).
///
/// Observing begins with the first call of observe and ends with the tree; arrivals and removals are delivered by the
/// run loop of the thread of that first call, in the default mode. A tree that is dropped by its last holder while it
/// tells of a device stops there and is deleted when the call is over. An exception of the delegate reaches the caller
/// (or the run loop) after the other devices of the same burst were told.
class _QrxDeviceTreeImpl : public QrxDeviceTree {
public:
    _QrxDeviceTreeImpl();
    _QrxDeviceTreeImpl(const _QrxDeviceTreeImpl&) = delete;
    _QrxDeviceTreeImpl& operator=(const _QrxDeviceTreeImpl&) = delete;
    ~_QrxDeviceTreeImpl() override;

    using QrxDeviceTree::_removeDevice;
    using QrxDeviceTree::observe;
    using QrxDeviceTree::populate;

    /// Adds the matching devices that are present now. Pairs of (vendor ID, product ID), 0 in a half matches anything.
    void populate(const std::vector<std::pair<unsigned short, unsigned short>>& ids) override;
    /// The first call tells of the devices that are present and then of every change; a later call only replaces the
    /// list that further arrivals are compared with.
    void observe(const std::vector<std::pair<unsigned short, unsigned short>>& ids) override;

    /// As the base class has it; where there are many listed devices, all of the backend's own class, without asking
    /// each of them.
    void _addDevice(mis::swizzler<QrxHIDDevice> device) override;
    /// The entry's IDs are accepted by a pair of the list.
    virtual bool _probeDevice(unsigned int entry) const;
    /// Takes the first device of this registry entry off the list and announces its removal, which closes the device if
    /// a delegate asks for removals (see `_announceRemoval`).
    virtual void _removeDevice(unsigned int entry);
    /// Empties the iterator and adds a device for each entry that matches.
    virtual void _devicesAddedNotification(unsigned int iterator);
    /// Empties the iterator and removes the device of each entry.
    virtual void _devicesRemovedNotification(unsigned int iterator);

private:
    void _beginObserving();
    /// Gives back what observing uses. Takes no memory.
    void _endObserving();
    bool _openNotificationPort(mach_port_t masterPort);
    void _closeNotificationPort();
    void _watchArrivals(CFDictionaryRef matching);
    void _watchTerminations(CFDictionaryRef matching);
    void _addEntry(unsigned int entry);

    IONotificationPortRef _notificationPort;
    CFRunLoopSourceRef _runLoopSource;
    io_iterator_t _arrivals;
    io_iterator_t _terminations;
    qrx::DeviceIndex _index;
};
