#include "page/DevicePage.h"
#include "text/Json.h"

#include <string>

namespace qrxhid {

namespace {

// The document stands in a script element, which "</script" would end, and in which "<!--" has a meaning. In JSON these
// signs occur in texts only, where an escape means the same.
std::string withoutMarkup(const std::string& json)
{
    std::string text;
    // Pages of long recordings have megabytes, and few of these signs.
    text.reserve(json.size());
    for (const char one : json) {
        switch (one) {
        case '<':
            text += "\\u003c";
            break;
        case '>':
            text += "\\u003e";
            break;
        case '&':
            text += "\\u0026";
            break;
        default:
            text += one;
        }
    }
    return text;
}

} // namespace

void writePage(std::ostream& out, const nlohmann::ordered_json& data)
{
    constexpr int kOneLine = -1;
    // Controls, line separators and bytes that are no UTF-8 reach no browser as they are.
    constexpr bool kOnlyAscii = true;
    const std::string json = data.dump(kOneLine, ' ', kOnlyAscii, nlohmann::ordered_json::error_handler_t::replace);
    out << pageTemplate().before << withoutMarkup(json) << pageTemplate().after;
}

} // namespace qrxhid
