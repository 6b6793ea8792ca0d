/// @file
/// The root of the device model: which devices are wanted, and which were found.

#ifndef QRX_DEVICE_TREE_H
#define QRX_DEVICE_TREE_H

#include "QrxDeviceTreeNode.h"
#include "QrxExport.h"
#include "QrxHIDDevice.h"
#include "swizzler"

#include <utility>
#include <vector>

class QrxDeviceTreeDelegateInterface;
class QrxDeviceTreeRemovalInterface;

/// The tree of the USB HID devices that an application cares about.
///
/// Devices are chosen by pairs of vendor ID and product ID, 0 in either half accepting any value. `populate` finds the
/// devices that are present, `observe` follows those that come and go. The tree holds one reference on each of its
/// devices, in the order in which they were added; all of them are HID devices and no two are equal. A tree is always a
/// root.
///
/// A tree is made by `NewInstance` and lives until its last handle goes; a device that the application still holds
/// survives it, without a parent. All of it, its devices and its delegate's calls included, belongs to one thread: the
/// one whose run loop was current when `observe` was called. Failures of the platform are not reported: what cannot be
/// found is not listed.
class QRX_EXPORT QrxDeviceTree : public QrxDeviceTreeNode {
public:
    /// The tree of the platform that the library was built for, empty and without a delegate. The handle holds the only
    /// reference.
    static mis::swizzler<QrxDeviceTree> NewInstance();

    QrxDeviceTree();

    /// The devices below a tree know one parent: it has no copies.
    QrxDeviceTree(const QrxDeviceTree&) = delete;
    QrxDeviceTree& operator=(const QrxDeviceTree&) = delete;

    /// Tells every listed device to forget its parent, then releases them, first to last.
    ~QrxDeviceTree() override;

    /// As `populate(ids)` with this one pair.
    virtual void populate(unsigned short vendorID, unsigned short productID);

    /// Replaces the wanted pairs (vendor ID, product ID) by a copy of `ids` and adds the matching devices that are
    /// present now, each with a notification of kind 1. Adds none for an empty list. Returns when all are added.
    ///
    /// For backends: this class's own body replaces the pairs; an override calls it first.
    virtual void populate(const std::vector<std::pair<unsigned short, unsigned short>>& ids) = 0;

    /// As `observe(ids)` with this one pair.
    virtual void observe(unsigned short vendorID, unsigned short productID);

    /// Replaces the wanted pairs by a copy of `ids` and, from the first call on, follows matching devices as they come
    /// and go, on the run loop of the calling thread. Devices that are present and not listed are added before it
    /// returns. Later calls change the pairs only. Watching ends with the tree. Throws std::bad_alloc without memory,
    /// and std::system_error if no file descriptor is free or the system lets the loop watch no more: then nothing is
    /// followed, and the next call begins anew.
    ///
    /// For backends: this class's own body replaces the pairs; an override calls it first.
    virtual void observe(const std::vector<std::pair<unsigned short, unsigned short>>& ids) = 0;

    /// Announces that a device was added or removed.
    ///
    /// Kind 1, added: calls the delegate's `deviceAdded` with a handle of its own, or, without a delegate, writes
    /// "device notification: device added" and an end of line to standard output. Any other kind, 2 for removed among
    /// them: writes "device notification: id ", the kind in decimal and an end of line; the delegate hears nothing.
    virtual void deviceNotification(unsigned int kind, mis::swizzler<QrxHIDDevice> device);

    /// The number of devices listed.
    virtual unsigned int getHIDDeviceCount();

    /// The device at `index`, counted from 0 in the order of addition. Throws `std::out_of_range` with the text "vector
    /// [] access out of range" when `index` is not below `getHIDDeviceCount()`.
    virtual mis::swizzler<QrxHIDDevice> getDeviceAtIndex(unsigned int index);

    /// The wanted pairs (vendor ID, product ID) themselves, not a copy: valid for as long as the tree, and replaced by
    /// `populate` and `observe`.
    virtual std::vector<std::pair<unsigned short, unsigned short>>& getVendorAndProductIDs();

    /// Offers a device. Does nothing when the handle is empty, when the device is not HID, or when a listed device
    /// equals it (the listed one's `operator==` decides). Otherwise lists it, becomes its parent, and raises the
    /// notification of kind 1. Called by backends.
    virtual void _addDevice(mis::swizzler<QrxHIDDevice> device);

    /// Takes the first listed device that equals `device` off the list and raises the notification of kind 2 with
    /// `device`. Does nothing when none does or the handle is empty. The device keeps its link to this tree. Called by
    /// backends.
    virtual void _removeDevice(mis::swizzler<QrxHIDDevice> device);

    /// True when there is a delegate.
    virtual bool hasDelegate() const;

    /// Installs `delegate`, or none with null, in place of any earlier one. The tree does not own it: it must live
    /// until the tree has gone or has been given another. Devices that are listed already are not announced again. A
    /// delegate that also derives from `QrxDeviceTreeRemovalInterface` is told of removals as well.
    virtual void setDelegate(QrxDeviceTreeDelegateInterface* delegate);

    /// Replaces the listener that hears of removals, or clears it with null; not owned. `setDelegate` sets it from the
    /// delegate; the facade, which is no delegate, sets itself.
    void _setRemovalListener(QrxDeviceTreeRemovalInterface* listener) { _removalListener = listener; }

    /// True when a delegate is installed and it is not this one.
    bool _hasDelegateOtherThan(const QrxDeviceTreeDelegateInterface* delegate) const
    {
        return _delegate != nullptr && _delegate != delegate;
    }

protected:
    /// Lists a HID device that no listed one equals, becomes its parent, and raises the notification of kind 1. What
    /// `_addDevice` does in the end; for backends that compare devices by themselves.
    void _listDevice(const mis::swizzler<QrxHIDDevice>& device);

    /// Raises the notification of kind 2 for a device that is off the list. If the tree or the device has a delegate
    /// that hears of removals, it then tells the tree's, then the device's, and closes the device, also when one of
    /// them throws. The tree may be gone afterwards.
    void _announceRemoval(const mis::swizzler<QrxHIDDevice>& device);

    /// The pairs (vendor ID, product ID) wanted, in the order given.
    std::vector<std::pair<unsigned short, unsigned short>> _vendorAndProductIDs;

    /// The devices found, in the order of addition; never an empty handle.
    std::vector<mis::swizzler<QrxHIDDevice>> _devices;

    /// The delegate, not owned, or null.
    QrxDeviceTreeDelegateInterface* _delegate;

private:
    /// What hears of removals: the delegate, if it derives from this interface as well, or the facade. Not owned, or
    /// null.
    QrxDeviceTreeRemovalInterface* _removalListener;
};

#endif
