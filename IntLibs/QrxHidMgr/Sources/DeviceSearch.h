#pragma once

// Looking through a list of devices that may change meanwhile.

#include "QrxHIDDevice.h"
#include "swizzler"

#include <algorithm>
#include <cstddef>
#include <vector>

/// The place of the first of `devices` for which `isWanted` is true, or `devices.size()`.
///
/// `isWanted` runs code of the backend or the application, which may change the list. So the device that is asked is
/// held during the call (`heldByCaller` is held already) and looked up again afterwards. A device that has left the
/// list during its own call is not found, whatever the answer.
template <typename Question>
std::size_t placeOfFirst(const std::vector<mis::swizzler<QrxHIDDevice>>& devices, const QrxHIDDevice* heldByCaller,
                         Question isWanted)
{
    for (std::size_t index = 0; index < devices.size();) {
        QrxHIDDevice* const asked = devices[index].get();
        const mis::swizzler<QrxHIDDevice> hold(asked != heldByCaller ? asked : nullptr);
        const bool wanted = isWanted(devices[index]);
        std::size_t place = index;
        if (index >= devices.size() || devices[index] != asked) {
            place = static_cast<std::size_t>(std::find(devices.begin(), devices.end(), asked) - devices.begin());
        }
        if (wanted) {
            return place;
        }
        // If the device that was asked has left the list, the next one has moved to its place.
        index = place < devices.size() ? place + 1 : index;
    }
    return devices.size();
}
