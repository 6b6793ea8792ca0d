// One device may have many interfaces, and a hostile one may fill the element table of each. The limit of elements is
// therefore the device's, and each interface gets a share. Whoever wants no more than an equal share gets all of it,
// which is nearly always the case and needs no look at the other interfaces.

#include "ElementShares.h"

#include "HID/ElementBudget.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

namespace qrx::iokit {

hid::Descriptor ElementShares::read(const platform::DeviceFacts& device, std::size_t interfaceIndex)
{
    {
        const std::lock_guard guard(_mutex);
        // A descriptor that was parsed because its interface shares in the limit waits here, so that it need not be
        // parsed again.
        if (const auto waiting = std::move(_of(device, interfaceIndex).waiting)) {
            return std::move(*waiting);
        }
    }
    hid::Descriptor descriptor = hid::parseReportDescriptor(device.interfaces[interfaceIndex].reportDescriptor);
    const std::lock_guard guard(_mutex);
    // Another thread may have parsed it meanwhile.
    _of(device, interfaceIndex) = {hid::wantedElements(descriptor), nullptr};
    return descriptor;
}

ElementShares::Known& ElementShares::_of(const platform::DeviceFacts& device, std::size_t interfaceIndex)
{
    _known.resize(device.interfaces.size());
    return _known[interfaceIndex];
}

hid::Limits ElementShares::limitsFor(const platform::DeviceFacts& device, const hid::Descriptor& descriptor)
{
    hid::Limits limits;
    const auto interfaces = static_cast<std::size_t>(
        std::count_if(device.interfaces.begin(), device.interfaces.end(),
                      [](const platform::InterfaceFacts& interface) { return interface.hid != nullptr; }));
    // The usual case: an equal share suffices, so the descriptors of the other interfaces need not be read.
    if (hid::wantedElements(descriptor) <= limits.elements / std::max<std::size_t>(interfaces, 1)) {
        return limits;
    }
    const std::lock_guard guard(_mutex);
    if (!_largestShare) {
        _largestShare = _largestShareOf(device, limits.elements);
    }
    limits.elements = *_largestShare;
    return limits;
}

std::size_t ElementShares::_largestShareOf(const platform::DeviceFacts& device, std::size_t room)
{
    std::vector<std::uint64_t> wanted;
    for (std::size_t index = 0; index < device.interfaces.size(); ++index) {
        const platform::InterfaceFacts& interface = device.interfaces[index];
        if (interface.hid == nullptr) {
            continue;
        }
        Known& known = _of(device, index);
        if (!known.wanted) {
            known.waiting = std::make_unique<hid::Descriptor>(hid::parseReportDescriptor(interface.reportDescriptor));
            known.wanted = hid::wantedElements(*known.waiting);
        }
        wanted.push_back(*known.wanted);
    }
    return static_cast<std::size_t>(hid::largestShare(wanted, room));
}

} // namespace qrx::iokit
