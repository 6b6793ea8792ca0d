#include "../Ground.h"

#include "IOKit/hid/HidDevice.h"
#include "QrxError.h"

namespace qrx {

std::uint64_t possibleLosses(IOHIDDeviceInterface122** driver, std::error_code& error)
{
    // Counted per open channel, so an interface that is not open has no count.
    const std::optional<std::uint64_t> losses = iokit::HidDevice::ofDevice(driver).possibleLosses();
    if (!losses) {
        error = QrxError::notOpen;
    }
    return losses.value_or(0);
}

bool hasLeft(IOHIDDeviceInterface122** driver)
{
    // Known here without a request to the device, as its channel has met its end.
    return iokit::HidDevice::ofDevice(driver).hasLeft();
}

InputCounts inputCounts(IOHIDDeviceInterface122** driver, std::error_code& error)
{
    const iokit::HidDevice& device = iokit::HidDevice::ofDevice(driver);
    // First, since it is what finds out whether the interface is open.
    const std::uint64_t losses = possibleLosses(driver, error);
    return error ? InputCounts()
                 : InputCounts{device.counts().reports, device.counts().bytes, device.counts().wakeUps, losses};
}

std::chrono::steady_clock::time_point arrivalTime(IOHIDDeviceInterface122** driver, std::error_code& error)
{
    iokit::HidDevice& device = iokit::HidDevice::ofDevice(driver);
    if (!device.isOpen()) {
        error = QrxError::notOpen;
        return {};
    }
    // When the report was taken from its node: the kernel keeps no time of its own for one.
    return device.arrivalTime();
}

Place placeOf(IOHIDDeviceInterface122** driver, std::uint32_t)
{
    const platform::DeviceFacts& device = iokit::HidDevice::ofDevice(driver).device();
    return {device.place, device.isVirtual};
}

std::string nodePath(IOHIDDeviceInterface122** driver)
{
    return iokit::HidDevice::ofDevice(driver).nodePath();
}

} // namespace qrx
