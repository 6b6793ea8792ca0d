#pragma once

#include "devices/DeviceIdentity.h"

#include "QrxHIDDevice.h"

#include <map>
#include <string>

namespace qrxhid {

/// By what devices are told apart, and chosen.
struct DeviceFacts {
    /// From 1 on, in the order of arrival among all devices: the `#n` that `list` shows. 0 where nothing counts them.
    unsigned int number = 0;
    DeviceIdentity ids;
    /// UTF-8, as the device has it; empty for none.
    std::string serialNumber;
    /// The bus and the chain of ports, "1-2.1"; of a recorded device what its recorder wrote. Empty if unknown.
    std::string place;
    /// By the number of the HID interface its report node, "/dev/hidraw0"; empty where there is none.
    std::map<int, std::string> nodes;

    /// `number` is the caller's to fill in, and the place of a virtual device.
    static DeviceFacts read(const QrxHIDDevice& device);
};

} // namespace qrxhid
