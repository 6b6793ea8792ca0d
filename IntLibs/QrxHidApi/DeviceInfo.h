#pragma once

#include "DeviceTable.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <hidapi/hidapi.h>

namespace qrx::hidapi {

/// Frees a list and all texts in it; null is an empty list.
void freeInfoList(hid_device_info* list);

struct FreeInfoList {
    void operator()(hid_device_info* list) const { freeInfoList(list); }
};
using InfoList = std::unique_ptr<hid_device_info, FreeInfoList>;

/// One entry for each top-level collection of the interface, in the descriptor's order. As in hidapi, a serial number
/// that the device does not have is an empty text, and other strings are null.
InfoList makeInfoList(const ListedInterface& interface);

/// The list of all of these whose vendor and product are the given ones; 0 stands for any.
InfoList makeInfoList(const DeviceTable::Interfaces& interfaces, std::uint16_t vendorID, std::uint16_t productID);

} // namespace qrx::hidapi
