#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDLib.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <system_error>

/// What the two grounds do differently: each has a file in a folder of its own. `driver` is the device interface of a
/// driver, never null. An `error` is clear when it is handed in, and is set on failure only.
namespace qrx {

/// As QrxGetPossibleLosses.
std::uint64_t possibleLosses(IOHIDDeviceInterface122** driver, std::error_code& error);

/// Whether the driver's device has left; false where the ground does not tell.
bool hasLeft(IOHIDDeviceInterface122** driver);

struct InputCounts {
    std::uint64_t reports = 0;
    std::uint64_t bytes = 0;
    std::uint64_t wakeUps = 0;
    std::uint64_t fullQueues = 0;
};
/// As QrxGetInputCounts and QrxGetArrivalTime.
InputCounts inputCounts(IOHIDDeviceInterface122** driver, std::error_code& error);
std::chrono::steady_clock::time_point arrivalTime(IOHIDDeviceInterface122** driver, std::error_code& error);

struct Place {
    /// "1-2.1"; empty where it cannot be told.
    std::string portChain;
    bool isVirtual = false;
};
/// Where the driver's device is plugged; `locationID` is the device's property of that name.
Place placeOf(IOHIDDeviceInterface122** driver, std::uint32_t locationID);

/// The file by which the system offers the interface; empty without one.
std::string nodePath(IOHIDDeviceInterface122** driver);

} // namespace qrx
