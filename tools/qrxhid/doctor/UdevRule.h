#pragma once

#include "devices/DeviceIdentity.h"

#include <optional>
#include <string>

namespace qrxhid {

/// A rule file for udev that gives one kind of device, or one interface of it, to whoever sits at the machine.
struct UdevRule {
    DeviceIdentity device;
    std::optional<int> interfaceNumber;

    /// "70-qrxhid-04d8-003f.rules"
    std::string fileName() const;
    /// The command that prints it: "qrxhid rule 04d8:003f".
    std::string command() const;
    /// The lines that udev reads.
    std::string lines() const;
    /// The file: the lines, and how they are meant and installed.
    std::string text() const;
};

/// Makes udevd read its files again and treat the nodes that are there by them.
constexpr const char* kReloadRules = "sudo udevadm control --reload";
constexpr const char* kTriggerRules = "sudo udevadm trigger --subsystem-match=hidraw";

} // namespace qrxhid
