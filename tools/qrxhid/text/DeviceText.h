#pragma once

#include "QrxHIDDevice.h"

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace qrxhid {

/// "1209:0002  Qrx Demo Wheel Mouse"
std::string deviceTitle(const QrxHIDDevice& device);

/// "#2  1209:0002  Qrx Demo Wheel Mouse"
std::string numberedTitle(unsigned int number, const QrxHIDDevice& device);

/// The numbers of the device's HID interfaces, ascending.
std::vector<int> interfaceNumbers(const QrxHIDDevice& device);

/// What the interface is in the first place: "Generic Desktop: Mouse".
std::string interfacePurpose(const QrxHIDDevice& device, int interfaceNumber);

/// Identity and names; texts as the device has them.
nlohmann::ordered_json deviceJson(const QrxHIDDevice& device);

/// What docs/qrxhid.schema.json describes. It rises when something that programs read changes its meaning or goes;
/// that something is added does not change it.
constexpr int kJsonVersion = 1;

/// One line or document of JSON in ASCII, with its version in front; bytes that are not UTF-8 become the replacement
/// character.
std::string jsonText(const nlohmann::ordered_json& json, bool isDocument);

/// A line of JSON with one more member behind the others; `value` is JSON in ASCII already, as what is too long to be
/// built of objects for each report.
std::string jsonLine(const nlohmann::ordered_json& json, std::string_view lastMember, std::string_view value);

} // namespace qrxhid
