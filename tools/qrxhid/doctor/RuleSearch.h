#pragma once

#include "devices/DeviceIdentity.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace qrxhid {

/// A rule in a file of udev's that is meant to give a device to users.
struct FoundRule {
    enum class Fault {
        none,
        /// The file's name does not sort before 73, and access is given by the tag that is acted upon there.
        tooLate,
        /// IDs in capitals, where udev compares with the kernel's lower case.
        capitals,
        /// ATTR looks at the node alone; the IDs are further up.
        attrOfNode,
        /// For the USB device, not for its report nodes.
        notForNodes
    };

    /// With its folder, as seen from the root.
    std::string file;
    std::size_t line = 0;
    Fault fault = Fault::none;
    /// The only interface that the rule is for.
    std::optional<int> interfaceNumber;

    /// "/etc/udev/rules.d/99-a.rules:3"
    std::string place() const { return file + ":" + std::to_string(line); }
};

/// The rules that name this device's vendor and product and give access by tag, mode or group, in the order in which
/// udev reads them. Rules that give access to whole classes of devices are not among them. `root` is what all paths
/// begin with.
std::vector<FoundRule> findRules(const std::string& root, const DeviceIdentity& device);

} // namespace qrxhid
