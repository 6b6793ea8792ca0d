#pragma once

#include "QrxHIDDeviceConnectionImpl.h"
#include "QrxHIDDeviceImpl.h"
#include "QrxHIDInterfaceMac.h"

namespace qrx {

/// The interface of that number; empty for a device that the library did not find itself and for an interface that it
/// does not have.
mis::swizzler<_QrxHIDInterfaceMac> interfaceOf(const QrxHIDDevice& device, int interfaceNumber);

/// Its connection; empty for an interface without a HID driver as well.
mis::swizzler<_QrxHIDDeviceConnectionImpl> connectionOf(const QrxHIDDevice& device, int interfaceNumber);

} // namespace qrx
