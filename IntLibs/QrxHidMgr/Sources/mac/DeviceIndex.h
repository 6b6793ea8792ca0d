#pragma once

#include "QrxHIDDevice.h"
#include "swizzler"

#include <IOKit/IOKitLib.h>

#include <vector>

namespace qrx {

/// Which registry entries the devices of a list stand for, so that a new one need not be compared with each of them.
///
/// It serves only while every listed device is of the backend's own class: then two devices are equal exactly if their
/// entries are one object, which as long as it is held has one handle. A device of any other class may have a
/// comparison of its own, which is asked.
class DeviceIndex {
public:
    /// Brings the index up to the list, which since the last call may have lost devices, but has got no others than
    /// were added here. False if the index cannot serve.
    bool follow(const std::vector<mis::swizzler<QrxHIDDevice>>& devices);
    bool has(io_service_t entry) const;
    /// The entry's device is about to be listed. The entry is not here yet.
    void add(io_service_t entry);
    /// The list may get other devices than those that are added here.
    void clear() { _entries.clear(); }
    /// The entry's device has left the list.
    void remove(io_service_t entry);

private:
    std::vector<io_service_t> _entries; ///< ascending
};

} // namespace qrx
