#pragma once

#include "HID/ReportDescriptor.h"
#include "oracle/KernelReading.h"
#include "oracle/UsageNames.h"

#include <string>
#include <vector>

namespace qrx::guest {

/// Compares our reading of a descriptor with the kernel's, field by field. Returns a line for each disagreement.
///
/// Where the kernel's text cannot say what a field is, by design, nothing is compared:
/// - A field without usages is padding to the kernel: it counts for offsets and does not appear.
/// - Limits that are equal are not printed.
/// - Values are 32 bits wide there; ours are compared modulo 2^32.
/// - A report has at most 256 fields and a field at most 12,288 usages there; what is beyond is dropped.
std::vector<std::string> compare(const hid::Descriptor& ours, const std::vector<KernelReport>& theirs,
                                 UsageNames& names);

} // namespace qrx::guest
