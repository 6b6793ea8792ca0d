#pragma once

#include "descriptor/ReportSearch.h"

#include "QrxRecording.h"

#include <cstdint>
#include <ostream>
#include <vector>

namespace qrxhid {

/// A report with its values, for people or as one JSON document.
void writeDecoded(std::ostream& out, const DeclaredReport& report, const std::vector<std::uint8_t>& bytes, bool isJson);

/// The same for one of many, which came at that time; in JSON one line.
void writeDecodedEvent(std::ostream& out, const DeclaredReport& report, const QrxRecordedEvent& event, bool isJson);

} // namespace qrxhid
