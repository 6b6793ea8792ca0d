#pragma once

// The way up from a node.

#include "ExactClass.h"
#include "QrxDeviceTreeNode.h"
#include "QrxHIDDevice.h"
#include "SelfReference.h"
#include "swizzler"

/// `node` as a `Node`, or null. The fast path compares exact types: a walk up passes objects of the classes `Passed`,
/// none of which is a `Node`, until it comes to the one that is sought, and neither needs a cast. Derived classes take
/// the cast.
template <class Node, class... Passed>
Node* nodeAs(QrxDeviceTreeNode& node)
{
    if (qrx::isExactly<Node>(node)) {
        return static_cast<Node*>(&node);
    }
    return (qrx::isExactly<Passed>(node) || ...) ? nullptr : dynamic_cast<Node*>(&node);
}

/// The nearest node of class `Node` above `node`, which itself is not looked at, or an empty handle. Nothing is cached:
/// each call walks again.
template <class Node, class... Passed>
mis::swizzler<Node> nearestAbove(const QrxDeviceTreeNode& node)
{
    // `_getParent` is virtual and may be the application's, so every step is held while it is looked at.
    mis::swizzler<QrxDeviceTreeNode> step = node._getParent();
    while (step) {
        if (Node* found = nodeAs<Node, Passed...>(*step)) {
            return mis::swizzler<Node>(found);
        }
        // The next step is held before this one, which may be what keeps it, is let go.
        step = step->_getParent();
    }
    return {};
}

/// The first device in the chain that begins with `node` itself: a device is its own nearest device. An empty handle
/// where there is none.
inline mis::swizzler<QrxHIDDevice> findNearestDevice(const QrxDeviceTreeNode& node)
{
    // A handle needs a pointer to a changeable object, since it counts. The walk itself changes nothing.
    auto& start = const_cast<QrxDeviceTreeNode&>(node);
    const SelfHold hold(start);
    if (auto* const device = nodeAs<QrxHIDDevice>(start)) {
        return mis::swizzler<QrxHIDDevice>(device);
    }
    return nearestAbove<QrxHIDDevice>(start);
}
