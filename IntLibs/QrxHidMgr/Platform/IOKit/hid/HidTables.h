#pragma once

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDLib.h>

namespace qrx::iokit {

/// The function tables behind every plug-in, device and queue interface.
extern const IOCFPlugInInterface kHidPlugInTable;
extern const IOHIDDeviceInterface122 kHidDeviceTable;
extern const IOHIDQueueInterface kHidQueueTable;

} // namespace qrx::iokit
