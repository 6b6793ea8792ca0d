#pragma once

#include "HID/ReportDescriptor.h"
#include "support/GuestFiles.h"

#include <string>

namespace qrx::guest {

/// Why a disagreement between the kernel's reading and ours is as it should be; empty if it is not known. `difference`
/// is the line that tells the disagreement.
std::string knownReason(const Bytes& descriptor, const hid::Descriptor& ours, const std::string& difference);

} // namespace qrx::guest
