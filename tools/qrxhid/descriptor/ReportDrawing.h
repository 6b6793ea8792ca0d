#pragma once

#include "QrxReportLayout.h"

#include <ostream>

namespace qrxhid {

/// Draws the bits of each report, a line a byte: a letter for each field, "-" for bits without meaning, "#" for the
/// report's number; beside the byte in which a field begins, what the letter stands for.
void drawReports(std::ostream& out, const QrxReportLayout& layout);

} // namespace qrxhid
