#include "InterfaceAccess.h"

namespace qrx {

mis::swizzler<_QrxHIDInterfaceMac> interfaceOf(const QrxHIDDevice& device, int interfaceNumber)
{
    // A device of an application's own class, a double in a test for instance, has no interfaces of the backend.
    const auto* found = dynamic_cast<const _QrxHIDDeviceImpl*>(&device);
    return found != nullptr ? found->_getInterface(interfaceNumber) : mis::swizzler<_QrxHIDInterfaceMac>();
}

mis::swizzler<_QrxHIDDeviceConnectionImpl> connectionOf(const QrxHIDDevice& device, int interfaceNumber)
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = interfaceOf(device, interfaceNumber);
    return interface ? interface->_borrowedConnection() : nullptr;
}

} // namespace qrx
