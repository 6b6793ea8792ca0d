#pragma once

#include "QrxDeviceTreeNode.h"
#include "swizzler"

/// The nearest node of class `Node` above `node` (the node itself is not looked at), or an empty handle. The walk is
/// done afresh on each call; every step is held while it is looked at.
template <class Node>
mis::swizzler<Node> nearestAbove(const QrxDeviceTreeNode& node)
{
    mis::swizzler<QrxDeviceTreeNode> step = node._getParent();
    while (step) {
        if (auto* found = dynamic_cast<Node*>(step.get())) {
            return mis::swizzler<Node>(found);
        }
        // The next step is held before this one is let go: it may be this one that keeps it.
        mis::swizzler<QrxDeviceTreeNode> next = step->_getParent();
        step = next;
    }
    return {};
}
