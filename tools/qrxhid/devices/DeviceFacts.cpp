#include "devices/DeviceFacts.h"

#include "QrxDeviceIdentity.h"

namespace qrxhid {

DeviceFacts DeviceFacts::read(const QrxHIDDevice& device)
{
    const QrxDeviceIdentity identity(device);
    DeviceFacts facts;
    facts.ids = {static_cast<std::uint16_t>(identity.getVendorID()),
                 static_cast<std::uint16_t>(identity.getProductID())};
    facts.serialNumber = identity.getSerialNumber();
    // The number of a virtual device says nothing to a person.
    facts.place = identity.isVirtual() ? "" : identity.getPortChain();
    for (std::size_t i = 0; i < identity.getInterfaceCount(); ++i) {
        const int number = identity.getInterfaceNumber(i);
        // Interfaces of other classes are listed too and have nothing to watch. One whose node may not be opened
        // counts.
        if (!identity.getReportDescriptor(number).empty()) {
            facts.nodes[number] = identity.getNodePath(number);
        }
    }
    return facts;
}

} // namespace qrxhid
