/// @file
/// How an application hears what happens to a device besides its reports.

#ifndef QRX_HID_DEVICE_EVENT_INTERFACE_H
#define QRX_HID_DEVICE_EVENT_INTERFACE_H

#include "QrxExport.h"
#include "QrxHIDDevice.h"
#include "swizzler"

#include <cstdint>

/// Extends a device's delegate: one that derives from `QrxHIDDeviceDelegateInterface` and from this class hears of
/// these events as well. `QrxHIDDevice::setDelegate` finds out; there is nothing to register. Each operation does
/// nothing until it is overridden.
///
/// With it the library closes the device when it has left, after the notification: the device must have been opened on
/// the tree's thread.
///
/// The calls come on the device's thread, get a handle of their own and may do anything, as those of
/// `QrxHIDDeviceDelegateInterface`.
class QRX_EXPORT QrxHIDDeviceEventInterface {
public:
    virtual ~QrxHIDDeviceEventInterface();

    /// The device has left the list of a tree that observes; all of its input has been delivered. Comes after the
    /// tree's delegate was told (`QrxDeviceTreeRemovalInterface`).
    virtual void deviceRemoved(mis::swizzler<QrxHIDDevice> device);

    /// Reports of an interface may have been dropped, because the queue in which they wait for the run loop was full:
    /// they would have come after the ones delivered so far and before those to come. `count` is how often the queue
    /// was found full since the last call, at least 1; `QrxGetPossibleLosses` gives the sum. Never called on macOS,
    /// which does not tell.
    virtual void inputMayBeLost(mis::swizzler<QrxHIDDevice> device, int interfaceNumber, uint64_t count);
};

#endif
