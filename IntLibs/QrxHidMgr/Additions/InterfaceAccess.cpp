#include "InterfaceAccess.h"

namespace qrx {

mis::swizzler<_QrxHIDInterfaceMac> interfaceOf(const QrxHIDDevice& device, int interfaceNumber)
{
    const auto* found = dynamic_cast<const _QrxHIDDeviceImpl*>(&device);
    return found != nullptr ? found->_getInterface(interfaceNumber) : mis::swizzler<_QrxHIDInterfaceMac>();
}

mis::swizzler<_QrxHIDDeviceConnectionImpl> connectionOf(const QrxHIDDevice& device, int interfaceNumber)
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = interfaceOf(device, interfaceNumber);
    return interface ? interface->_borrowedConnection() : nullptr;
}

} // namespace qrx
