#pragma once

// The way up from a node to its device.

#include "swizzler"

class QrxDeviceTreeNode;
class QrxHIDDevice;

/// The first device in the chain that begins with `node` itself and goes up by parents; empty when it ends without one.
mis::swizzler<QrxHIDDevice> findNearestDevice(const QrxDeviceTreeNode& node);
