#include "doctor/Refusal.h"

#include "doctor/Checkup.h"

#include <algorithm>

namespace qrxhid {

std::string refusedDevice(const DeviceFilter& filter)
{
    const std::vector<DeviceFinding> findings = checkUp({}, filter, Surroundings::examine(""));
    const auto isDenied = [](const InterfaceFinding& one) { return one.state == InterfaceFinding::State::denied; };
    const bool isRefused = findings.size() == 1 && std::ranges::all_of(findings.front().interfaces, isDenied);
    return isRefused ? findings.front().ids.text() : "";
}

} // namespace qrxhid
