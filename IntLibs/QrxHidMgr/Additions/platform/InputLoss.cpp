#include "../InputLoss.h"

#include "IOKit/HidDevice.h"

namespace qrx {

std::uint64_t possibleLosses(IOHIDDeviceInterface122** driver, std::error_code& error)
{
    const std::optional<std::uint64_t> losses = iokit::HidDevice::ofDevice(driver).possibleLosses();
    if (!losses) {
        error = std::make_error_code(std::errc::not_connected);
    }
    return losses.value_or(0);
}

} // namespace qrx
