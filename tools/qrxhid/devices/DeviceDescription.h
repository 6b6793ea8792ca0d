#pragma once

#include "QrxHIDDevice.h"
#include "QrxRecording.h"

namespace qrxhid {

/// What the device says of itself, as a recording without events: identity and strings, and of each HID interface the
/// report descriptor and what else a recording holds. Read from the registry, where no device is asked. Without
/// interfaces if the device has left.
QrxRecording describeDevice(const QrxHIDDevice& device);

} // namespace qrxhid
