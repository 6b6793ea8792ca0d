#pragma once

#include "QrxVirtualDevice.h"

#include "VirtualUsbDevice.h"

/// What a QrxVirtualDevice holds: its identity as it was given, and the device proper.
struct QrxVirtualDevice::Body {
    QrxVirtualIdentity identity;
    std::shared_ptr<qrx::platform::VirtualUsbDevice> device;
};
