#include "NearestDevice.h"

#include "QrxHIDDevice.h"
#include "SelfReference.h"

mis::swizzler<QrxHIDDevice> findNearestDevice(const QrxDeviceTreeNode& node)
{
    // Handles are made on objects that may be changed; asking for the device changes none.
    auto* current = const_cast<QrxDeviceTreeNode*>(&node);
    const SelfHold start(*current);
    mis::swizzler<QrxDeviceTreeNode> held;
    while (current != nullptr) {
        if (auto* const device = dynamic_cast<QrxHIDDevice*>(current)) {
            return mis::swizzler<QrxHIDDevice>(device);
        }
        held = current->_getParent();
        current = held.get();
    }
    return mis::swizzler<QrxHIDDevice>();
}
