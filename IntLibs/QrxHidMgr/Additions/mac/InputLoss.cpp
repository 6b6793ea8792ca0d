#include "../InputLoss.h"

namespace qrx {

// The system drops reports that find its queue full, and counts them for nobody.
std::uint64_t possibleLosses(IOHIDDeviceInterface122**, std::error_code& error)
{
    error = std::make_error_code(std::errc::not_supported);
    return 0;
}

} // namespace qrx
