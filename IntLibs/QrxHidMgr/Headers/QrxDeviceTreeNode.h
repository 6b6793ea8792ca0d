/// @file
/// What every object of the device tree has in common: its place below a parent.

#ifndef QRX_DEVICE_TREE_NODE_H
#define QRX_DEVICE_TREE_NODE_H

#include "QrxExport.h"
#include "VCollectable"
#include "swizzler"

class QrxDeviceTree;

/// A counted object that hangs in the device tree: the tree itself, a device, an interface, an element, a report or a
/// connection.
///
/// Parents own their children through handles; a child knows its parent by a plain pointer and never holds it, so no
/// cycle of references keeps a part of the tree alive. A parent calls `_forgetParent(this)` on every child before it
/// goes; a parent that does not leaves a dangling link, which nothing detects.
///
/// Used on the thread that owns the tree. Nothing here fails or throws. Applications call `getDeviceTree`; the
/// operations with an underscore are for the model's own classes and for backends.
class QRX_EXPORT QrxDeviceTreeNode : public mis::VCollectable<unsigned int> {
public:
    /// Starts unheld and without a parent.
    QrxDeviceTreeNode();

    /// A copy hangs nowhere: the parent of `other` does not know it.
    QrxDeviceTreeNode(const QrxDeviceTreeNode& other);

    /// Keeps the place in the tree, which belongs to an object's identity.
    QrxDeviceTreeNode& operator=(const QrxDeviceTreeNode&);

    /// Does not touch the parent.
    ~QrxDeviceTreeNode() override;

    /// The tree at the root above this node (a tree answers itself), or an empty handle when the chain of parents ends
    /// in something else: a device that was never added to a tree or has outlived it, or an element of such a device.
    ///
    /// A device that was removed from its tree still answers it, until the tree goes.
    virtual mis::swizzler<QrxDeviceTree> getDeviceTree();

    /// True when there is a parent.
    virtual bool _hasParent() const;

    /// The parent, held by the returned handle, or an empty handle.
    virtual mis::swizzler<QrxDeviceTreeNode> _getParent() const;

    /// Makes `parent` the parent in place of any earlier one, or, with an empty handle, leaves the node without one.
    /// Does not hold it: the caller, which is the parent, must call `_forgetParent` before it goes.
    virtual void _setParent(mis::swizzler<QrxDeviceTreeNode> parent);

    /// Clears the link to the parent if it is `parent`, or, with null, whatever it is. Naming another node does
    /// nothing.
    virtual void _forgetParent(const QrxDeviceTreeNode* parent);

protected:
    /// The node above this one, not held, or null.
    QrxDeviceTreeNode* _parent;
};

#endif
