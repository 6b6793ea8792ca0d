#include "QrxInputLoss.h"

#include "Ground.h"
#include "InterfaceAccess.h"
#include "QrxError.h"

std::uint64_t QrxGetPossibleLosses(const QrxHIDDevice& device, int interfaceNumber, std::error_code& error)
{
    const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection = qrx::connectionOf(device, interfaceNumber);
    // A driver that could not be reached when the device was found has no device interface; nobody can say what it
    // lost.
    if (!connection || connection->_borrowedDeviceInterface() == nullptr) {
        error = QrxError::noSuchInterface;
        return 0;
    }
    error.clear();
    return qrx::possibleLosses(connection->_borrowedDeviceInterface(), error);
}
