#pragma once

#include <cstdint>

namespace qrx::hid {

/// What a report is for, numbered as the platform and the model number it.
enum class ReportType : std::uint8_t { input = 0, output = 1, feature = 2 };

} // namespace qrx::hid
