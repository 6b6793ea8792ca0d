#pragma once

#include "devices/DeviceFilter.h"

#include <string>

namespace qrxhid {

/// The IDs of the one device that the filter lets pass, if this user may open none of its interfaces; empty otherwise,
/// and where only opening it can tell (macOS).
std::string refusedDevice(const DeviceFilter& filter);

} // namespace qrxhid
