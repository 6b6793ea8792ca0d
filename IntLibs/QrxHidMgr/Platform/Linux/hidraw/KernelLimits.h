#pragma once

/// Limits of the kernel's report nodes.

#include <cstddef>

namespace qrx::platform {

/// Reports that wait for one reader: each open file has a ring of 64 slots (HIDRAW_BUFFER_SIZE), one of which stays
/// free.
constexpr std::size_t kRingReports = 63;

/// No report is longer, with its number (HID_MAX_BUFFER_SIZE).
constexpr std::size_t kLongestReport = 16384;

} // namespace qrx::platform
