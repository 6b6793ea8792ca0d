#pragma once

#include <cstdint>
#include <string>

namespace qrx::hid {

/// The symbols of a unit's code, HID 1.11, 6.2.2.7, without a power of ten: "cm s^-2". "" for no unit and for a system
/// that is not defined.
std::string unitText(std::uint32_t unit);

} // namespace qrx::hid
