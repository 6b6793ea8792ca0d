#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDLib.h>

#include <cstdint>
#include <system_error>

namespace qrx {

/// As QrxGetPossibleLosses, for a driver's device interface. Each ground has its own: see the folders.
std::uint64_t possibleLosses(IOHIDDeviceInterface122** driver, std::error_code& error);

} // namespace qrx
