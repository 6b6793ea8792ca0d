#pragma once

#include "doctor/Checkup.h"

#include "Linux/sysfs/DeviceScan.h"

#include <string>

namespace qrxhid {

/// Finds out why the kernel has no report node for a HID interface, and fills in state, reasons and next steps. `root`
/// is what all paths begin with, `place` the device's ("1-2.1").
void explainAbsence(InterfaceFinding& finding, const std::string& root, const std::string& place,
                    const qrx::platform::InterfaceOutline& outline);

/// The same for a node that the kernel has and /dev has not. `enclosure` is what the program runs in, empty for a plain
/// machine.
void explainMissing(InterfaceFinding& finding, const std::string& root, const std::string& enclosure);

} // namespace qrxhid
