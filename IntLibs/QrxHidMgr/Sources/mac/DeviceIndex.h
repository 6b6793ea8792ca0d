#pragma once

#include "QrxHIDDevice.h"
#include "swizzler"

#include <IOKit/IOKitLib.h>

#include <vector>

namespace qrx {

/// The registry entries of the listed devices, sorted, so that a new device need not be compared with each of them.
///
/// It serves only while every listed device is of the backend's own class: then two devices are equal exactly if their
/// entries are the same object, and an entry keeps its handle for as long as it is held. A device of any other class
/// may have a comparison of its own, which must be called.
class DeviceIndex {
public:
    /// Brings the index up to date with the list. Since the last call the list may have lost devices, but it has gained
    /// only those that were added here. False if the index cannot serve.
    bool follow(const std::vector<mis::swizzler<QrxHIDDevice>>& devices);
    bool has(io_service_t entry) const;
    /// The entry's device is about to be listed. The entry is not here yet.
    void add(io_service_t entry);
    /// Call this when the list may gain devices that are not added here; the next `follow` reads the whole list.
    void clear() { _entries.clear(); }
    /// The entry's device has left the list.
    void remove(io_service_t entry);

private:
    std::vector<io_service_t> _entries; ///< ascending
};

} // namespace qrx
