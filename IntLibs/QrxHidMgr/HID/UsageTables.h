#pragma once

#include <cstdint>
#include <span>
#include <string>

/// The names of the HID Usage Tables. The build makes the tables of UsageTables.tsv (GenerateUsageTables.cmake): names
/// are lists of places in a text of all words, so that a word that many names share is there once.
namespace qrx::hid {

inline constexpr char kUsageTablesVersion[] = "1.6";

/// What a run names; the runs of one page are sorted in this order. The usages of a numbered page ("Button 3") are
/// named by one word and their number.
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

/// Marks the last word of a name; the other bits are the place of the word in `words`.
inline constexpr std::uint16_t kLastWord = 0x8000;

struct UsageTables {
    /// By page, then kind, then usage.
    std::span<const UsageRun> runs;
    std::span<const std::uint16_t> names;
    /// Each ends with a zero.
    const char* words;
};

extern const UsageTables kUsageTables;

/// "Generic Desktop"; "" for a page without a name.
std::string usagePageName(std::uint32_t page);
/// "Wheel", "Button 3"; "" for a usage without a name.
std::string usageName(std::uint32_t page, std::uint32_t usage);

} // namespace qrx::hid
