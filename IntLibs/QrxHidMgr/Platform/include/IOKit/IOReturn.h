#pragma once

/// Result codes of the I/O Kit: 0xE0000000 and a low part. Success is 0.

#include <mach/mach.h>

using IOReturn = kern_return_t;

enum : IOReturn {
    kIOReturnSuccess = 0,
    kIOReturnError = static_cast<IOReturn>(0xe00002bc),
    kIOReturnNoMemory = static_cast<IOReturn>(0xe00002bd),
    kIOReturnNoResources = static_cast<IOReturn>(0xe00002be),
    kIOReturnNoDevice = static_cast<IOReturn>(0xe00002c0),
    kIOReturnNotPrivileged = static_cast<IOReturn>(0xe00002c1),
    kIOReturnBadArgument = static_cast<IOReturn>(0xe00002c2),
    kIOReturnExclusiveAccess = static_cast<IOReturn>(0xe00002c5),
    kIOReturnUnsupported = static_cast<IOReturn>(0xe00002c7),
    kIOReturnInternalError = static_cast<IOReturn>(0xe00002c9),
    kIOReturnIOError = static_cast<IOReturn>(0xe00002ca),
    kIOReturnNotOpen = static_cast<IOReturn>(0xe00002cd),
    kIOReturnBusy = static_cast<IOReturn>(0xe00002d5),
    kIOReturnTimeout = static_cast<IOReturn>(0xe00002d6),
    kIOReturnOffline = static_cast<IOReturn>(0xe00002d7),
    kIOReturnNotReady = static_cast<IOReturn>(0xe00002d8),
    kIOReturnNotAttached = static_cast<IOReturn>(0xe00002d9),
    kIOReturnNoSpace = static_cast<IOReturn>(0xe00002db),
    kIOReturnMessageTooLarge = static_cast<IOReturn>(0xe00002e1),
    kIOReturnNotPermitted = static_cast<IOReturn>(0xe00002e2),
    kIOReturnUnderrun = static_cast<IOReturn>(0xe00002e7),
    kIOReturnOverrun = static_cast<IOReturn>(0xe00002e8),
    kIOReturnAborted = static_cast<IOReturn>(0xe00002eb),
    kIOReturnNotResponding = static_cast<IOReturn>(0xe00002ed),
    kIOReturnNotFound = static_cast<IOReturn>(0xe00002f0)
};
