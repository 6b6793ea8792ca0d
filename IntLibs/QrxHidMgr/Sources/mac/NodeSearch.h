#pragma once

#include "ExactClass.h"
#include "QrxDeviceTreeNode.h"
#include "QrxHIDCollectionImpl.h"
#include "swizzler"

/// `node` as a `Node`, or null. The fast path compares exact types: a walk up passes collections until it comes to an
/// object of the class that is sought, and neither needs a cast. Derived classes take the cast.
template <class Node>
Node* nodeAs(QrxDeviceTreeNode& node)
{
    if (qrx::isExactly<Node>(node)) {
        return static_cast<Node*>(&node);
    }
    return qrx::isExactly<_QrxHIDCollectionImpl>(node) ? nullptr : dynamic_cast<Node*>(&node);
}

/// The nearest node of class `Node` above `node`, which itself is not looked at, or an empty handle. `Node` is not a
/// collection. Nothing is cached: each call walks again, and every step is held while it is looked at.
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
