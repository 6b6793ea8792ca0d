#include "DeviceIndex.h"

#include "ExactClass.h"
#include "QrxHIDDeviceImpl.h"

#include <algorithm>

namespace qrx {

bool DeviceIndex::follow(const std::vector<mis::swizzler<QrxHIDDevice>>& devices)
{
    // The index has every device that has joined the list, and may also have some that left; or it was cleared and is
    // shorter than the list. So equal sizes mean equal contents, and the usual call costs one comparison.
    if (_entries.size() == devices.size()) {
        return true;
    }
    _entries.clear();
    for (const mis::swizzler<QrxHIDDevice>& device : devices) {
        const auto* own = exactly<_QrxHIDDeviceImpl>(device.get());
        // A device without an entry equals every other one without an entry; a handle of 0 in the index could not tell
        // them apart.
        if (own == nullptr || own->_getEntry() == 0) {
            _entries.clear();
            return false;
        }
        // Newer devices mostly have higher handles, so most entries are added at the end.
        add(own->_getEntry());
    }
    return true;
}

bool DeviceIndex::has(io_service_t entry) const
{
    return std::binary_search(_entries.begin(), _entries.end(), entry);
}

void DeviceIndex::add(io_service_t entry)
{
    _entries.insert(std::upper_bound(_entries.begin(), _entries.end(), entry), entry);
}

void DeviceIndex::remove(io_service_t entry)
{
    const auto place = std::lower_bound(_entries.begin(), _entries.end(), entry);
    if (place != _entries.end() && *place == entry) {
        _entries.erase(place);
    }
}

} // namespace qrx
