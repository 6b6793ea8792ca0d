#pragma once

#include "text/Terminal.h"

#include "QrxHIDDevice.h"

#include <nlohmann/json_fwd.hpp>

#include <ostream>
#include <span>

namespace qrxhid {

/// The device for people: of its interfaces those with these numbers, their reports, their nested elements, as branches
/// that fit the terminal.
void writeTree(std::ostream& out, const QrxHIDDevice& device, std::span<const int> interfaces,
               const Terminal& terminal);

/// The same for programs.
nlohmann::ordered_json treeJson(const QrxHIDDevice& device, std::span<const int> interfaces);

} // namespace qrxhid
