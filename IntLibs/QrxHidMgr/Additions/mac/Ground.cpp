#include "../Ground.h"

#include "QrxError.h"

namespace qrx {

// The system drops reports that find its queue full, and counts them for nobody.
std::uint64_t possibleLosses(IOHIDDeviceInterface122**, std::error_code& error)
{
    error = QrxError::notPossible;
    return 0;
}

// Devices are reached through the registry; the system makes no file for them.
std::string nodePath(IOHIDDeviceInterface122**)
{
    return {};
}

} // namespace qrx
