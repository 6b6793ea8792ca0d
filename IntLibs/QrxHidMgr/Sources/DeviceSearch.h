#pragma once

// Looking through a list of devices that may change meanwhile.

#include "QrxHIDDevice.h"
#include "swizzler"

#include <algorithm>
#include <cstddef>
#include <vector>

/// The place of the first of `devices` for which `isWanted` is true, or `devices.size()`.
///
/// The answer is the backend's or the application's code, which may change the list. So the device that is asked is
/// held, except for `heldByCaller`, and looked up again afterwards. One that was taken off by its own answer is not
/// found, whatever it answered.
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
        index = place < devices.size() ? place + 1 : index;
    }
    return devices.size();
}
