#pragma once

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDLib.h>

namespace fake {

/// The function tables that the plug-in objects and queues show.
const IOHIDDeviceInterface122& deviceTable();
const IOCFPlugInInterface& plugInTable();
const IOHIDQueueInterface& queueTable();

} // namespace fake
