#pragma once

#include "ExactClass.h"
#include "QrxDeviceTreeNode.h"
#include "QrxHIDCollectionImpl.h"
#include "swizzler"

/// `node` as a `Node`, or null. Walks lead over collections to an object of the very class that is sought: both are
/// told without a cast.
template <class Node>
Node* nodeAs(QrxDeviceTreeNode& node)
{
    if (qrx::isExactly<Node>(node)) {
        return static_cast<Node*>(&node);
    }
    return qrx::isExactly<_QrxHIDCollectionImpl>(node) ? nullptr : dynamic_cast<Node*>(&node);
}

/// The nearest node of class `Node`, which is no collection, above `node` (the node itself is not looked at), or an
/// empty handle. The walk is done afresh on each call; every step is held while it is looked at.
template <class Node>
mis::swizzler<Node> nearestAbove(const QrxDeviceTreeNode& node)
{
    mis::swizzler<QrxDeviceTreeNode> step = node._getParent();
    while (step) {
        if (Node* found = nodeAs<Node>(*step)) {
            return mis::swizzler<Node>(found);
        }
        // The next step is held before this one, which may be what keeps it, is let go.
        step = step->_getParent();
    }
    return {};
}
