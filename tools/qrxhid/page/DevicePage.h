#pragma once

#include <nlohmann/json_fwd.hpp>

#include <ostream>
#include <string_view>

namespace qrxhid {

/// page.html with its style and scripts in it, in two halves: what shows a device, without the device. Made by
/// EmbedPage.cmake.
struct PageTemplate {
    std::string_view before;
    std::string_view after;
};
PageTemplate pageTemplate();

/// Writes a page that stands alone: it loads nothing, and its security policy lets it run its own scripts only.
void writePage(std::ostream& out, const nlohmann::ordered_json& data);

} // namespace qrxhid
