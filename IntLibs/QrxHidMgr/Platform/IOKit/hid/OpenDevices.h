#pragma once

#include <memory>

namespace qrx::iokit {

class HidDevice;
struct DeviceRecord;

/// The HID devices that are open, and by which thread, so that their waiting input is delivered before their removal is
/// announced. A device is opened, served and closed on one thread. Has a lock of its own, which is not held while
/// foreign code runs.
namespace open_devices {

void add(const std::shared_ptr<HidDevice>& device);
void remove(const HidDevice& device);

/// Hands on what still waits in this thread's connections to an ended device, where a run loop would. The receivers may
/// do anything, and may throw.
void deliverRest(const DeviceRecord& ended);

} // namespace open_devices

} // namespace qrx::iokit
