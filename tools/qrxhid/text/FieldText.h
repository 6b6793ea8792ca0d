#pragma once

#include "text/ElementOutline.h"

#include <string>
#include <vector>

namespace qrxhid {

/// A field in the words of a table.
struct FieldWords {
    /// "Left Control .. Right GUI"; an array's with their number: "A .. Z (26)". The page is said where it is not
    /// that of the collection around the field: "Keyboard: A .. Z (26)".
    std::string usages;
    /// "input 1"
    std::string report;
    /// "byte 2.4": from bit 4 of byte 2 of the report on, both counted from 0.
    std::string place;
    /// "3 x 8 bits"
    std::string size;
    /// "-127 .. 127"
    std::string range;
    /// What is not usual: "relative", "= 0 .. 315 deg, null state"; empty for a plain variable.
    std::string details;
};

FieldWords fieldWords(const FieldOutline& field, std::uint32_t pageAround);

/// "input report 1: 10 bytes"
std::string reportText(const ReportOutline& report);

/// "variable, absolute, null state"
std::string flagText(const FieldOutline& field);

} // namespace qrxhid
