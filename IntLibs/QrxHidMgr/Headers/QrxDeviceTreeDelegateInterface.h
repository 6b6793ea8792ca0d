/// @file
/// How an application hears of devices.

#ifndef QRX_DEVICE_TREE_DELEGATE_INTERFACE_H
#define QRX_DEVICE_TREE_DELEGATE_INTERFACE_H

#include "QrxExport.h"
#include "QrxHIDDevice.h"
#include "swizzler"

/// Implemented by an application that wants to be told of each device that a tree adds; see
/// `QrxDeviceTree::setDelegate`. The tree never owns, copies or deletes its delegate: the application keeps it alive
/// until the tree is gone or has another delegate.
class QRX_EXPORT QrxDeviceTreeDelegateInterface {
public:
    virtual ~QrxDeviceTreeDelegateInterface();

    /// `device` has been added to the tree: it is listed and has its place below the tree already. Called once for each
    /// addition, on the thread that called `populate` or that runs the run loop of `observe`.
    ///
    /// The device is held for the call; keep a copy of the handle to keep it longer. The call may do anything: open the
    /// device, change or remove the delegate, drop the last handle on the tree. An exception passes through the tree to
    /// whoever runs it; the device stays listed.
    virtual void deviceAdded(mis::swizzler<QrxHIDDevice> device) = 0;
};

#endif
