#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

/// The names of the HID Usage Tables, in two fifths of the space of their text.
///
/// A name is a list of words, and each word is there once, in a sorted text of codes: a code is a letter, a pair of
/// codes, or the end of a word, which tells how many letters the next word shares with it. The build makes the tables
/// of UsageTables.tsv and UsageTables.pairs (GenerateUsageTables.cmake).
namespace qrx::hid {

inline constexpr char kUsageTablesVersion[] = "1.6";

/// Usages of a page that follow each other. Two names stand where no usage is: that of a page is usage `page` of page
/// 0, and the word of a page whose usages are numbered ("Button 3") is its usage 0.
struct UsageRun {
    std::uint16_t page;
    std::uint16_t firstUsage;
    /// The place of the first usage's name in `names`. Those of the others follow, up to the place of the next run.
    std::uint16_t names;
};

/// What a code stands for; `left` is 0 for a letter, which is its own code.
struct CodePair {
    std::uint8_t left;
    std::uint8_t right;
};

/// The codes below end a word: the next begins with as many letters of it as the code says.
inline constexpr unsigned kWordEnds = 8;
/// The first word of a block shares no letters, so that the others are found from there.
inline constexpr std::size_t kWordsPerBlock = 8;
inline constexpr std::size_t kLongestWord = 32;
/// A place of `names` holds the number of a word and whether a name ends with it. Three bytes hold two places.
inline constexpr unsigned kLastWord = 0x800;

struct UsageTables {
    /// By page, then usage. The last run names nothing: its place ends the names.
    std::span<const UsageRun> runs;
    const std::uint8_t* names;
    /// Where each block of words begins in `words`.
    const std::uint16_t* blocks;
    const std::uint8_t* words;
    /// By code.
    const CodePair* pairs;
};

extern const UsageTables kUsageTables;

/// "Generic Desktop"; "" for a page without a name.
std::string usagePageName(std::uint32_t page);
/// "Wheel", "Button 3"; "" for a usage without a name.
std::string usageName(std::uint32_t page, std::uint32_t usage);

} // namespace qrx::hid
