#include "UsageTables.h"

#include <algorithm>
#include <tuple>

namespace qrx::hid {

namespace {

using Place = std::tuple<std::uint32_t, UsageEntry::Kind, std::uint32_t>;

Place placeOf(const UsageEntry& entry)
{
    return {entry.page, entry.kind, entry.usage};
}

/// Null if there is none.
const char* find(std::uint32_t page, UsageEntry::Kind kind, std::uint32_t usage)
{
    const std::span<const UsageEntry> entries = usageTables();
    const Place wanted(page, kind, usage);
    const auto found =
        std::lower_bound(entries.begin(), entries.end(), wanted,
                         [](const UsageEntry& entry, const Place& place) { return placeOf(entry) < place; });
    return found != entries.end() && placeOf(*found) == wanted ? found->name : nullptr;
}

} // namespace

std::string usagePageName(std::uint32_t page)
{
    const char* name = find(page, UsageEntry::Kind::page, 0);
    return name != nullptr ? name : "";
}

std::string usageName(std::uint32_t page, std::uint32_t usage)
{
    if (const char* name = find(page, UsageEntry::Kind::usage, usage)) {
        return name;
    }
    // Usage 0 stands for none on every page.
    constexpr std::uint32_t kLastUsage = 0xFFFF;
    const char* word = usage != 0 && usage <= kLastUsage ? find(page, UsageEntry::Kind::numbered, 0) : nullptr;
    return word != nullptr ? word + (" " + std::to_string(usage)) : std::string();
}

} // namespace qrx::hid
