#pragma once

#include <cstdint>
#include <span>
#include <string>

/// The names of the HID Usage Tables. The data are UsageTables.tsv, of which the build makes the table.
namespace qrx::hid {

inline constexpr char kUsageTablesVersion[] = "1.6";

struct UsageEntry {
    /// The entries of one page stand in this order. A numbered page names its usages by a word and their number.
    enum class Kind : std::uint8_t { page, numbered, usage };

    Kind kind;
    std::uint16_t page;
    std::uint16_t usage;
    const char* name;
};

/// By page, then kind, then usage.
std::span<const UsageEntry> usageTables();

/// "Generic Desktop"; "" for a page without a name.
std::string usagePageName(std::uint32_t page);
/// "Wheel", "Button 3"; "" for a usage without a name.
std::string usageName(std::uint32_t page, std::uint32_t usage);

} // namespace qrx::hid
