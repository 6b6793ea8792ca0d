#pragma once

#include <IOKit/IOKitLib.h>

#include <system_error>

namespace qrx {

/// The error code for a result of the platform; empty for success.
std::error_code errorOfResult(IOReturn result);

} // namespace qrx
