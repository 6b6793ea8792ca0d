#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace qrxhid {

struct UsageEntry {
    std::uint16_t usage;
    std::string_view name;
};

/// One page of the HID usage tables. Pages whose usages are only numbered (buttons) have no entries but a prefix.
struct UsagePageEntry {
    std::uint16_t page;
    std::string_view name;
    /// By ascending usage.
    std::span<const UsageEntry> usages;
    /// "Button" makes usage 3 "Button 3"; empty where the page does not number.
    std::string_view numberedPrefix;
};

/// By ascending page.
std::span<const UsagePageEntry> usagePages();

} // namespace qrxhid
