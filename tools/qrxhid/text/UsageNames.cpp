#include "text/UsageNames.h"

#include "text/TextFormat.h"
#include "text/UsageTables.h"

#include <algorithm>

namespace qrxhid {

namespace {

constexpr std::uint32_t kFirstVendorPage = 0xFF00;
constexpr int kUsageDigits = 4;

const UsagePageEntry* findPage(std::uint32_t page)
{
    const auto pages = usagePages();
    const auto found = std::ranges::lower_bound(pages, page, {}, &UsagePageEntry::page);
    return found != pages.end() && found->page == page ? &*found : nullptr;
}

std::string_view findUsage(const UsagePageEntry& page, std::uint32_t usage)
{
    const auto found = std::ranges::lower_bound(page.usages, usage, {}, &UsageEntry::usage);
    return found != page.usages.end() && found->usage == usage ? found->name : std::string_view();
}

/// "Button 3" says its page itself.
bool isNumbered(std::uint32_t page, std::uint32_t usage)
{
    const UsagePageEntry* entry = findPage(page);
    return entry != nullptr && !entry->numberedPrefix.empty() && usage != 0;
}

} // namespace

std::string usagePageName(std::uint32_t page)
{
    if (const UsagePageEntry* entry = findPage(page)) {
        return std::string(entry->name);
    }
    return (page >= kFirstVendorPage ? "Vendor " : "Page ") + hexText(page, kUsageDigits);
}

std::string usageName(std::uint32_t page, std::uint32_t usage)
{
    if (const UsagePageEntry* entry = findPage(page)) {
        if (const std::string_view name = findUsage(*entry, usage); !name.empty()) {
            return std::string(name);
        }
        if (isNumbered(page, usage)) {
            return std::string(entry->numberedPrefix) + " " + std::to_string(usage);
        }
    }
    return hexText(usage, kUsageDigits);
}

std::string usageText(std::uint32_t page, std::uint32_t usage)
{
    const std::string name = usageName(page, usage);
    return isNumbered(page, usage) ? name : usagePageName(page) + ": " + name;
}

std::string usageRangeText(std::uint32_t page, std::uint32_t first, std::uint32_t last)
{
    const std::string text = usageText(page, first);
    if (first == last) {
        return text;
    }
    return text + " .. " + (isNumbered(page, last) ? std::to_string(last) : usageName(page, last));
}

} // namespace qrxhid
