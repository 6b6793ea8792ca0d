#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qrxhid {

/// Something in a report descriptor that its author may want to write differently.
struct LintFinding {
    enum class Severity {
        error,   ///< it cannot be read as written
        warning, ///< a rule is broken, or systems read it differently
        note     ///< systems differ, and most programs never notice
    };

    Severity severity = Severity::warning;
    /// In bytes; the descriptor's length for what is missing at the end.
    std::size_t offset = 0;
    /// "Usage Maximum"; "end".
    std::string item;
    /// What is wrong, and which system reads what.
    std::string reason;
    /// How to write it so that all agree; empty where the reason says it.
    std::string advice;

    const char* severityName() const;
};

/// What HID 1.11 forbids, what hosts stumble over, and what macOS reads unlike Linux and Windows, by ascending offset.
std::vector<LintFinding> lint(std::span<const std::uint8_t> descriptor);

} // namespace qrxhid
