#include "QrxInputLoss.h"

#include "InputLoss.h"
#include "QrxHIDDeviceConnectionImpl.h"
#include "QrxHIDDeviceImpl.h"
#include "QrxHIDInterfaceMac.h"

namespace {

/// Null for a device of another class, an interface that it does not have, and one without a HID driver.
IOHIDDeviceInterface122** driverOf(const QrxHIDDevice& device, int interfaceNumber)
{
    const auto* found = dynamic_cast<const _QrxHIDDeviceImpl*>(&device);
    if (found == nullptr) {
        return nullptr;
    }
    const mis::swizzler<_QrxHIDInterfaceMac> interface = found->_getInterface(interfaceNumber);
    const _QrxHIDDeviceConnectionImpl* connection = interface ? interface->_borrowedConnection() : nullptr;
    return connection != nullptr ? connection->_borrowedDeviceInterface() : nullptr;
}

} // namespace

std::uint64_t QrxGetPossibleLosses(const QrxHIDDevice& device, int interfaceNumber, std::error_code& error)
{
    IOHIDDeviceInterface122** const driver = driverOf(device, interfaceNumber);
    if (driver == nullptr) {
        error = std::make_error_code(std::errc::no_such_device_or_address);
        return 0;
    }
    error.clear();
    return qrx::possibleLosses(driver, error);
}
