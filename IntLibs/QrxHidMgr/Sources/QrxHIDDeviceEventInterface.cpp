#include "QrxHIDDeviceEventInterface.h"

QrxHIDDeviceEventInterface::~QrxHIDDeviceEventInterface() = default;

void QrxHIDDeviceEventInterface::deviceRemoved(mis::swizzler<QrxHIDDevice>) {}

void QrxHIDDeviceEventInterface::inputMayBeLost(mis::swizzler<QrxHIDDevice>, int, uint64_t) {}
