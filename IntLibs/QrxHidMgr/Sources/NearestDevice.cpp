#include "NearestDevice.h"

#include "QrxHIDDevice.h"
#include "SelfReference.h"

mis::swizzler<QrxHIDDevice> findNearestDevice(const QrxDeviceTreeNode& node)
{
    // A handle needs a pointer to a changeable object, since it counts. The walk itself changes nothing.
    auto* current = const_cast<QrxDeviceTreeNode*>(&node);
    const SelfHold start(*current);
    mis::swizzler<QrxDeviceTreeNode> held;
    while (current != nullptr) {
        // The node itself counts: a device is its own nearest device.
        if (auto* const device = dynamic_cast<QrxHIDDevice*>(current)) {
            return mis::swizzler<QrxHIDDevice>(device);
        }
        // `_getParent` is virtual and may be the application's. The handle keeps each step alive until the next one is
        // known; assignment releases the old step only after `_getParent` has returned the new one.
        held = current->_getParent();
        current = held.get();
    }
    return mis::swizzler<QrxHIDDevice>();
}
