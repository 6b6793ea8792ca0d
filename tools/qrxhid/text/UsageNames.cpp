#include "text/UsageNames.h"

#include "text/KeyNames.h"
#include "text/TextFormat.h"

#include "QrxUsageNames.h"

namespace qrxhid {

namespace {

constexpr std::uint32_t kKeyboardPage = 0x07;
constexpr std::uint32_t kButtonPage = 0x09;
constexpr std::uint32_t kFirstVendorPage = 0xFF00;
constexpr int kUsageDigits = 4;

/// "Button 3" says its page itself.
bool isNumbered(std::uint32_t page, std::uint32_t usage)
{
    return page == kButtonPage && usage != 0;
}

} // namespace

std::string usagePageName(std::uint32_t page)
{
    if (page == kKeyboardPage) {
        return "Keyboard";
    }
    const std::string name = QrxGetUsagePageName(page);
    if (!name.empty()) {
        return name;
    }
    return (page >= kFirstVendorPage ? "Vendor " : "Page ") + hexText(page, kUsageDigits);
}

std::string usageName(std::uint32_t page, std::uint32_t usage)
{
    std::string name(page == kKeyboardPage ? keyName(usage) : "");
    if (name.empty()) {
        name = QrxGetUsageName(page, usage);
    }
    return name.empty() ? hexText(usage, kUsageDigits) : name;
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
