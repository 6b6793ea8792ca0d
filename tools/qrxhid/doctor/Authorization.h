#pragma once

#include "doctor/Checkup.h"

#include <optional>
#include <string>

namespace qrxhid {

/// The finding on a device that shows no interface because it has not been let in (its attribute `authorized` is 0),
/// if its descriptors announce HID; nothing for any other device. `root` is what all paths begin with, `place` the
/// device's ("1-2.1").
std::optional<DeviceFinding> findKeptOut(const std::string& root, const std::string& place);

/// Whether this interface ("1-2.1:1.0") has not been let in; then the finding says so.
bool explainKeptOut(InterfaceFinding& finding, const std::string& root, const std::string& interface);

} // namespace qrxhid
