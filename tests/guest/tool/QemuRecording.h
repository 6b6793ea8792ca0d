#pragma once

#include <string>
#include <vector>

namespace qrx::guest {

/// The recordings of QEMU's devices that the tool brings along, by the names of their files: "qemu-keyboard",
/// "qemu-mouse", "qemu-tablet".
std::vector<std::string> qemuRecordingNames();

/// Plugs that device, uses it, and pulls it, while `qrxhid record` runs; returns what that wrote, with a comment above
/// that says what was done. The device is used in the same way each time, so only times differ.
/// Throws std::runtime_error if a report does not come, or the tool does not end well.
std::string recordQemuDevice(const std::string& name);

} // namespace qrx::guest
