#pragma once

#include "QrxHIDDevice.h"

#include <nlohmann/json.hpp>

#include <ostream>

namespace qrxhid {

/// The device for people: its interfaces, their nested elements, their reports.
void writeTree(std::ostream& out, const QrxHIDDevice& device);

/// The same for programs.
nlohmann::ordered_json treeJson(const QrxHIDDevice& device);

} // namespace qrxhid
