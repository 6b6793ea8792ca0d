#include "UsageTables.h"

#include <algorithm>
#include <array>

namespace qrx::hid {

namespace {

constexpr unsigned kNoEnd = kWordEnds;

/// Writes what a code stands for. Answers how many letters the next word shares if the code ends its word, else kNoEnd.
unsigned writeCode(char*& to, std::uint8_t code)
{
    if (code < kWordEnds) {
        return code;
    }
    const CodePair pair = kUsageTables.pairs[code];
    if (pair.left == 0) {
        *to++ = static_cast<char>(code);
        return kNoEnd;
    }
    // An end is only ever the right one of a pair.
    writeCode(to, pair.left);
    return writeCode(to, pair.right);
}

/// Words share letters with the one before them, so those of the block are written one over the other up to the word.
void appendWord(std::string& text, std::size_t number)
{
    const std::uint8_t* code = kUsageTables.words + kUsageTables.blocks[number / kWordsPerBlock];
    std::array<char, kLongestWord> word;
    char* end = word.data();
    unsigned shared = 0;
    for (std::size_t left = number % kWordsPerBlock + 1; left > 0; --left) {
        end = word.data() + shared;
        do {
            shared = writeCode(end, *code++);
        } while (shared == kNoEnd);
    }
    text.append(word.data(), end);
}

unsigned entryAt(std::size_t place)
{
    const std::uint8_t* bytes = kUsageTables.names + place / 2 * 3;
    return place % 2 == 0 ? bytes[0] | (bytes[1] & 0xFu) << 8 : bytes[1] >> 4 | unsigned{bytes[2]} << 4;
}

/// The name after `skipped` others from `place` on; "" if they end before it.
std::string nameAt(std::size_t place, std::size_t end, std::size_t skipped)
{
    for (; skipped > 0 && place < end; ++place) {
        skipped -= (entryAt(place) & kLastWord) != 0 ? 1 : 0;
    }
    std::string name;
    while (place < end) {
        const unsigned entry = entryAt(place++);
        appendWord(name, entry & ~kLastWord);
        if ((entry & kLastWord) != 0) {
            break;
        }
        name += ' ';
    }
    return name;
}

/// "" if there is none.
std::string find(std::uint32_t page, std::uint32_t usage)
{
    constexpr std::uint32_t kLast = 0xFFFF;
    if (page > kLast || usage > kLast) {
        return "";
    }
    const auto key = [](std::uint32_t ofPage, std::uint32_t ofUsage) { return ofPage << 16 | ofUsage; };
    const std::span<const UsageRun> runs = kUsageTables.runs.first(kUsageTables.runs.size() - 1);
    const auto after =
        std::upper_bound(runs.begin(), runs.end(), key(page, usage), [&key](std::uint32_t wanted, const UsageRun& run) {
            return wanted < key(run.page, run.firstUsage);
        });
    if (after == runs.begin() || after[-1].page != page) {
        return "";
    }
    const UsageRun& run = after[-1];
    return nameAt(run.names, (&run)[1].names, usage - run.firstUsage);
}

} // namespace

std::string usagePageName(std::uint32_t page)
{
    return find(0, page);
}

std::string usageName(std::uint32_t page, std::uint32_t usage)
{
    // Usage 0 stands for none on every page, as page 0 for no page.
    constexpr std::uint32_t kLastUsage = 0xFFFF;
    if (page == 0 || usage == 0 || usage > kLastUsage) {
        return "";
    }
    std::string name = find(page, usage);
    if (name.empty()) {
        name = find(page, 0);
        if (!name.empty()) {
            name += ' ';
            name += std::to_string(usage);
        }
    }
    return name;
}

} // namespace qrx::hid
