#include "doctor/Refusal.h"

namespace qrxhid {

std::string refusedDevice(const DeviceFilter&)
{
    return {};
}

} // namespace qrxhid
