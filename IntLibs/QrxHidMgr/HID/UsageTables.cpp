#include "UsageTables.h"

#include <algorithm>
#include <tuple>

namespace qrx::hid {

namespace {

using Place = std::tuple<std::uint32_t, UsageKind, std::uint32_t>;

/// Skips `skipped` names from `place` on, and puts the words of the next together.
std::string nameAt(std::size_t place, std::size_t skipped)
{
    while (skipped > 0) {
        skipped -= (kUsageTables.names[place++] & kLastWord) != 0 ? 1 : 0;
    }
    std::string name;
    for (;;) {
        const std::uint16_t word = kUsageTables.names[place++];
        name += kUsageTables.words + (word & ~kLastWord);
        if ((word & kLastWord) != 0) {
            return name;
        }
        name += ' ';
    }
}

/// "" if there is none.
std::string find(std::uint32_t page, UsageKind kind, std::uint32_t usage)
{
    const std::span<const UsageRun> runs = kUsageTables.runs;
    const auto after = std::upper_bound(
        runs.begin(), runs.end(), Place(page, kind, usage),
        [](const Place& place, const UsageRun& run) { return place < Place(run.page, run.kind, run.firstUsage); });
    if (after == runs.begin()) {
        return "";
    }
    const UsageRun& run = after[-1];
    const bool isThere = run.page == page && run.kind == kind && usage - run.firstUsage < run.count;
    return isThere ? nameAt(run.names, usage - run.firstUsage) : "";
}

} // namespace

std::string usagePageName(std::uint32_t page)
{
    return find(page, UsageKind::page, 0);
}

std::string usageName(std::uint32_t page, std::uint32_t usage)
{
    if (std::string name = find(page, UsageKind::usage, usage); !name.empty()) {
        return name;
    }
    // Usage 0 stands for none on every page.
    constexpr std::uint32_t kLastUsage = 0xFFFF;
    const bool hasNumber = usage != 0 && usage <= kLastUsage;
    const std::string word = hasNumber ? find(page, UsageKind::numbered, 0) : "";
    return word.empty() ? word : word + " " + std::to_string(usage);
}

} // namespace qrx::hid
