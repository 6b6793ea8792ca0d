#pragma once

#include "devices/DeviceFilter.h"
#include "text/Terminal.h"

#include "QrxHIDDevice.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace qrxhid {

/// The device for people: its interfaces, their reports, their nested elements, as branches that fit the terminal.
void writeTree(std::ostream& out, const QrxHIDDevice& device, const DeviceFilter& filter, const Terminal& terminal);

/// The same for programs.
nlohmann::ordered_json treeJson(const QrxHIDDevice& device, const DeviceFilter& filter);

} // namespace qrxhid
