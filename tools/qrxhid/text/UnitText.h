#pragma once

#include <cstdint>
#include <string>

namespace qrxhid {

/// A HID unit code (HID 1.11, 6.2.2.7) with its exponent: "10^-2 K", "deg", "cm s^-1"; empty for no unit and no
/// exponent.
std::string unitText(std::uint32_t unit, std::int32_t exponent);

} // namespace qrxhid
