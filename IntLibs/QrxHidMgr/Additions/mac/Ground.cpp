#include "../Ground.h"

#include "QrxError.h"

namespace qrx {

// The system drops reports that find its queue full, and offers no count of them.
std::uint64_t possibleLosses(IOHIDDeviceInterface122**, std::error_code& error)
{
    error = QrxError::notPossible;
    return 0;
}

// The system's device interface has no operation for this. A request to a device that has left fails, and its result
// tells the caller.
bool hasLeft(IOHIDDeviceInterface122**)
{
    return false;
}

// The system's device interface counts no input, and reports come without a time.
InputCounts inputCounts(IOHIDDeviceInterface122**, std::error_code& error)
{
    error = QrxError::notPossible;
    return {};
}

std::chrono::steady_clock::time_point arrivalTime(IOHIDDeviceInterface122**, std::error_code& error)
{
    error = QrxError::notPossible;
    return {};
}

Place placeOf(IOHIDDeviceInterface122**, std::uint32_t locationID)
{
    // The bus is the top byte; then come 4 bits for each port from the root hub on, and zeros from the device's own
    // port on. A device without a port has no place to name: that is the root hub itself.
    constexpr unsigned kBusShift = 24;
    constexpr unsigned kPortBits = 4;
    std::string chain = std::to_string(locationID >> kBusShift);
    char separator = '-';
    for (unsigned shift = kBusShift; shift > 0 && (locationID & ((1U << shift) - 1)) != 0;) {
        shift -= kPortBits;
        chain += separator + std::to_string(locationID >> shift & ((1U << kPortBits) - 1));
        separator = '.';
    }
    return {separator == '.' ? chain : std::string(), false};
}

// Devices are reached through the registry; the system makes no file for them.
std::string nodePath(IOHIDDeviceInterface122**)
{
    return {};
}

} // namespace qrx
