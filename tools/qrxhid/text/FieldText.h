#pragma once

#include "text/ElementOutline.h"

#include <string>

namespace qrxhid {

/// A field in columns: kind and report, place, size, usages, range, unit and flags in words.
std::string fieldText(const FieldOutline& field);

/// "Keyboard: Left Control .. Right GUI"; an array's with their number: "Keyboard: A .. Z (26)".
std::string fieldUsageText(const FieldOutline& field);

/// "variable, absolute, null state"
std::string flagText(const FieldOutline& field);

} // namespace qrxhid
