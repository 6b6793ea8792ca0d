#pragma once

#include "descriptor/ReportSearch.h"

#include <cstdint>
#include <ostream>
#include <vector>

namespace qrxhid {

/// A report with its values, for people or as one JSON document.
void writeDecoded(std::ostream& out, const DeclaredReport& report, const std::vector<std::uint8_t>& bytes, bool isJson);

} // namespace qrxhid
