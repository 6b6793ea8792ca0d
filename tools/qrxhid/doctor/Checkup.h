#pragma once

#include "devices/DeviceFilter.h"
#include "doctor/Surroundings.h"
#include "doctor/User.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrxhid {

/// What is found out about one HID interface.
struct InterfaceFinding {
    enum class State {
        usable,
        /// Input comes, and nothing can be sent.
        readOnly,
        /// The report node is there and may not be opened.
        denied,
        /// The kernel has a report node, and /dev has none.
        nodeMissing,
        /// A HID device without a report node.
        noNode,
        /// The HID driver has the interface and made no HID device of it.
        noHIDDevice,
        /// Another driver than the HID driver has the interface.
        otherDriver,
        noDriver
    };

    int number = 0;
    State state = State::usable;
    /// "/dev/hidraw0"; empty if there is none.
    std::string node;
    /// Why it cannot be used, one sentence each; empty for `usable`.
    std::vector<std::string> reasons;
    /// What would help: commands, or sentences.
    std::vector<std::string> nextSteps;

    /// "denied"
    const char* stateName() const;
    /// It is a matter of who asks.
    bool isAboutPermission() const { return state == State::denied || state == State::readOnly; }
};

struct DeviceFinding {
    DeviceIdentity ids;
    /// UTF-8, as the device has it.
    std::string productName;
    std::string serialNumber;
    /// "1-2.1"
    std::string place;
    /// By ascending number; a device that is only half there may have none.
    std::vector<InterfaceFinding> interfaces;
    /// Why it has none, and what would help; empty where it has some.
    std::vector<std::string> reasons;
    std::vector<std::string> nextSteps;

    DeviceFacts facts() const;
    bool isUsable() const;
    bool isAboutPermission() const;
};

/// Where and for whom the questions are asked.
struct CheckupPlace {
    /// What all paths begin with; empty for the machine itself.
    std::string root;
    /// See NodeAccess::examine.
    std::optional<User> user;
};

/// Examines the HID devices that the filter lets pass, in the order of their arrival. It reads sysfs as the library
/// does, and the rules of udev. What the filter says of numbers of `list` is not for this: they count other devices.
std::vector<DeviceFinding> checkUp(const CheckupPlace& place, const DeviceFilter& filter,
                                   const Surroundings& surroundings);

} // namespace qrxhid
