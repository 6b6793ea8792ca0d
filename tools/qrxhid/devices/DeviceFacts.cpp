#include "devices/DeviceFacts.h"

#include "devices/DeviceDescription.h"

namespace qrxhid {

DeviceFacts DeviceFacts::read(const QrxHIDDevice& device)
{
    const QrxRecording description = describeDevice(device);
    DeviceFacts facts;
    facts.ids = {description.vendorID, description.productID};
    facts.serialNumber = description.serialNumber;
    for (const QrxRecordedInterface& interface : description.interfaces) {
        facts.nodes[interface.number];
    }
    return facts;
}

} // namespace qrxhid
