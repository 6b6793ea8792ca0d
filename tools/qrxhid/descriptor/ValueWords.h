#pragma once

#include "descriptor/ReportSearch.h"

#include <string>
#include <vector>

namespace qrxhid {

/// "X=5", "Generic Desktop: X=5", "0x00010030=5", "Button 3[1]=1" (the second value of that usage), as a person writes
/// what a report is to say.
struct ValueWord {
    /// Without the number in brackets.
    std::string name;
    std::int64_t value = 0;
    std::uint32_t index = 0;

    /// Whether the word looks like one; "01" is a byte.
    static bool isOne(const std::string& word);
    /// Throws UsageError.
    static ValueWord parse(const std::string& word);
};

/// Those of the reports that have a field for each of the words. Throws UsageError with the nearest name if none of
/// them has a field for one.
std::vector<DeclaredReport> reportsWith(const std::vector<DeclaredReport>& reports,
                                        const std::vector<ValueWord>& words);

/// The report with these values, all else 0. Throws UsageError for what cannot be written.
std::vector<std::uint8_t> encoded(const DeclaredReport& report, const std::vector<ValueWord>& words);

} // namespace qrxhid
