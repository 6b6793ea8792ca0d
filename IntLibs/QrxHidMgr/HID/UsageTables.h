#pragma once

#include <cstdint>
#include <span>
#include <string>

/// The names of the HID Usage Tables. The data are UsageTables.tsv, of which the build makes the tables.
namespace qrx::hid {

inline constexpr char kUsageTablesVersion[] = "1.6";

/// What is named. The runs of one page stand in this order. A numbered page names its usages by a word and their
/// number.
enum class UsageKind : std::uint8_t { page, numbered, usage };

/// Usages of a page that follow each other.
struct UsageRun {
    std::uint16_t page;
    UsageKind kind;
    /// 0 for a page.
    std::uint16_t firstUsage;
    /// The place of the first usage's name; those of the others follow.
    std::uint16_t names;
    std::uint16_t count;
};

/// The last word of a name; the other bits are the word's number.
inline constexpr std::uint16_t kLastWord = 0x8000;

struct UsageTables {
    /// By page, then kind, then usage.
    std::span<const UsageRun> runs;
    std::span<const std::uint16_t> names;
    const char* words;
    /// By number.
    std::span<const std::uint16_t> wordPlaces;
};

extern const UsageTables kUsageTables;

/// "Generic Desktop"; "" for a page without a name.
std::string usagePageName(std::uint32_t page);
/// "Wheel", "Button 3"; "" for a usage without a name.
std::string usageName(std::uint32_t page, std::uint32_t usage);

} // namespace qrx::hid
