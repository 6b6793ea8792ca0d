#pragma once

#include "QrxHIDDevice.h"

#include <cstdint>
#include <string>

namespace qrxhid {

/// Which kind of device one is: its vendor ID and product ID, any of which may be 0. (A DeviceSelector says which
/// devices are meant; 0 is any there.)
struct DeviceIdentity {
    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;

    static DeviceIdentity of(const QrxHIDDevice& device);
    /// "04d8:003f"
    std::string text() const;
};

} // namespace qrxhid
