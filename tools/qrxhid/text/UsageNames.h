#pragma once

#include <cstdint>
#include <string>

namespace qrxhid {

/// Names of the HID usage tables, for people; keys by what is printed on them. Pages and usages that have no name here
/// are shown by their numbers, so every function answers for every number.

/// "Generic Desktop"; "Vendor 0xff00" from 0xff00 on; "Page 0x0020" for other pages.
std::string usagePageName(std::uint32_t page);

/// "Wheel", "Button 3"; "0x0123" for a usage without a name.
std::string usageName(std::uint32_t page, std::uint32_t usage);

/// Page and usage in one: "Generic Desktop: Wheel"; "Button 3" where the page only numbers its usages.
std::string usageText(std::uint32_t page, std::uint32_t usage);

/// Usages of one page: "Keyboard: Left Control .. Right GUI", "Button 1 .. 3"; as usageText where both are the same.
std::string usageRangeText(std::uint32_t page, std::uint32_t first, std::uint32_t last);

} // namespace qrxhid
