#pragma once

#include "ToolRun.h"

#include "library/Library.h"

#include <string>

namespace qrx::guest {

/// Whether the ordinary user may open the file for reading and writing.
bool mayOpen(const std::string& file);

/// Whether udevd has given the tag "uaccess" to the device of a node.
bool isTagged(const std::string& node);

/// Has udevd apply its rules to all report nodes once more and waits for the end of that: what it has not done then it
/// will not do. (To wait for an empty queue is not enough: an event may not have come to it yet.)
void applyAllRules();

/// What the doctor says of devices, as the ordinary user or as root.
ToolRun askDoctor(const std::vector<std::string>& words = {}, unsigned userID = kOrdinaryUser);

/// Runs each command that the doctor has shown ("next: ..."). Returns how many there were. udevd may have to do then.
std::size_t followAdvice(const ToolRun& doctor);

/// "1-1"
std::string placeOf(const VhciDevice& device);

/// Two devices that are plugged: a composite one whose interfaces 0 and 2 are HID (1234:00a1), and a plain one
/// (1234:00a2).
class TwoDevices : public Library {
protected:
    TwoDevices();

    VhciDevice composite;
    VhciDevice plain;
    /// Report nodes.
    std::vector<std::string> compositeNodes;
    std::string plainNode;
};

} // namespace qrx::guest
