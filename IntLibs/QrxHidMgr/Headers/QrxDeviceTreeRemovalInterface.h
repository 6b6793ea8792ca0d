/// @file
/// How an application hears of devices that leave.

#ifndef QRX_DEVICE_TREE_REMOVAL_INTERFACE_H
#define QRX_DEVICE_TREE_REMOVAL_INTERFACE_H

#include "QrxExport.h"
#include "QrxHIDDevice.h"
#include "swizzler"

/// Extends a tree's delegate: one that derives from `QrxDeviceTreeDelegateInterface` and from this class is told of
/// removals as well. `QrxDeviceTree::setDelegate` finds out; there is nothing to register. A class derived from
/// `QrxDeviceTreeInterface` may derive from this one too and hears of the removals of the facade's tree.
///
/// With it a device that is open when it leaves is closed by the library, after this call and that of the device's own
/// delegate (`QrxHIDDeviceEventInterface`): the device must have been opened on the tree's thread. Without either of
/// the two the application closes it.
class QRX_EXPORT QrxDeviceTreeRemovalInterface {
public:
    virtual ~QrxDeviceTreeRemovalInterface();

    /// `device` has left: it is off the tree's list, its queued input has been delivered, and the line about its
    /// removal is written. Called once for each listed device that leaves while the tree observes, devices that were
    /// listed before the delegate was set included; on the tree's thread.
    ///
    /// The device is held for the call and still answers questions about itself. The call may do anything: drop the
    /// device or the tree, change the delegate, throw. An exception passes through the run loop after the device was
    /// closed.
    virtual void deviceRemoved(mis::swizzler<QrxHIDDevice> device) = 0;
};

#endif
