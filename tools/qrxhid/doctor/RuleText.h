#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qrxhid {

/// One part of a udev rule: KEY{attribute} operation "value".
struct RulePart {
    std::string key;
    /// Empty where there is none.
    std::string attribute;
    /// "==", "!=", "=", "+=", "-=" or ":=".
    std::string operation;
    /// Between the quotes, with "\"" for a quote.
    std::string value;
};

struct RuleLine {
    /// From 1; of a rule that goes on in further lines, the first.
    std::size_t number = 0;
    std::vector<RulePart> parts;
};

/// The rules in the text of a rule file, comments left out. What is no part of a rule is passed over. Takes time and
/// memory in proportion to the text, whatever it is.
std::vector<RuleLine> ruleLines(std::string_view file);

} // namespace qrxhid
