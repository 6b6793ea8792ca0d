#include "RuleSearch.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <string_view>

namespace qrxhid {

namespace {

/// A file here hides those of the same name in the folders after it.
constexpr const char* kFolders[] = {"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/lib/udev/rules.d",
                                    "/lib/udev/rules.d"};
/// 73-seat-late.rules turns the tag into an access list.
constexpr std::string_view kTagIsActedUpon = "73";

/// One part of a rule: KEY{attribute} operator "value".
struct Part {
    std::string key;
    std::string attribute;
    std::string operation;
    std::string value;
};

std::string lowered(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::vector<Part> partsOf(const std::string& rule)
{
    static const std::regex part(R"re(([A-Z]+)(?:\{([^}]*)\})?\s*(==|!=|\+=|-=|:=|=)\s*"([^"]*)")re");
    std::vector<Part> parts;
    for (std::sregex_iterator match(rule.begin(), rule.end(), part), end; match != end; ++match) {
        parts.push_back({(*match)[1], (*match)[2], (*match)[3], (*match)[4]});
    }
    return parts;
}

bool isMatch(const Part& part, std::string_view attribute, const std::string& wanted)
{
    return part.operation == "==" && part.attribute == attribute && lowered(part.value) == wanted;
}

/// By the attributes of the USB device, or by a name that holds both IDs ("0003:04D8:003F.*").
bool names(const std::vector<Part>& parts, const DeviceSelector& device)
{
    const std::string ids = device.text();
    const auto hasID = [&parts](std::string_view attribute, const std::string& wanted) {
        return std::ranges::any_of(parts, [&](const Part& part) { return isMatch(part, attribute, wanted); });
    };
    const auto hasBoth = [&ids](const Part& part) {
        return part.operation == "==" && lowered(part.value).find(ids) != std::string::npos;
    };
    return (hasID("idVendor", ids.substr(0, 4)) && hasID("idProduct", ids.substr(5))) ||
           std::ranges::any_of(parts, hasBoth);
}

bool isTag(const Part& part)
{
    return part.key == "TAG" && (part.operation == "+=" || part.operation == "=") && part.value == "uaccess";
}

bool givesAccess(const Part& part)
{
    const bool assigns = part.operation == "=" || part.operation == ":=";
    return isTag(part) || (assigns && (part.key == "MODE" || part.key == "GROUP" || part.key == "OWNER"));
}

bool isID(const Part& part)
{
    return part.attribute == "idVendor" || part.attribute == "idProduct";
}

FoundRule::Fault faultOf(const std::vector<Part>& parts, const std::string& fileName)
{
    const auto any = [&parts](auto predicate) { return std::ranges::any_of(parts, predicate); };
    if (any([](const Part& part) {
            return part.key == "SUBSYSTEM" && part.operation == "==" && part.value.starts_with("usb");
        })) {
        return FoundRule::Fault::notForNodes;
    }
    if (any([](const Part& part) { return isID(part) && part.key == "ATTR"; })) {
        return FoundRule::Fault::attrOfNode;
    }
    if (any([](const Part& part) { return isID(part) && part.value != lowered(part.value); })) {
        return FoundRule::Fault::capitals;
    }
    const bool byTagAlone = any(isTag) && !any([](const Part& part) { return givesAccess(part) && !isTag(part); });
    return byTagAlone && fileName >= kTagIsActedUpon ? FoundRule::Fault::tooLate : FoundRule::Fault::none;
}

std::optional<int> interfaceOf(const std::vector<Part>& parts)
{
    for (const Part& part : parts) {
        int number = 0;
        if (part.attribute == "bInterfaceNumber" && part.operation == "==" &&
            std::from_chars(part.value.data(), part.value.data() + part.value.size(), number, 16).ec == std::errc()) {
            return number;
        }
    }
    return std::nullopt;
}

/// Calls `take` with each rule and the number of its first line; comments are left out, continued lines joined.
template <typename Take>
void readRules(const std::filesystem::path& file, Take take)
{
    std::ifstream text(file);
    std::string rule;
    std::size_t number = 0;
    std::size_t first = 0;
    for (std::string line; std::getline(text, line);) {
        ++number;
        const std::size_t begin = line.find_first_not_of(" \t");
        if (begin == std::string::npos || line[begin] == '#') {
            continue;
        }
        first = rule.empty() ? number : first;
        rule += line;
        if (rule.back() == '\\') {
            rule.back() = ' ';
            continue;
        }
        take(rule, first);
        rule.clear();
    }
}

/// File name to folder, in the order of the names: as udev reads them.
std::map<std::string, std::string> ruleFiles(const std::string& root)
{
    std::map<std::string, std::string> files;
    for (const std::string folder : kFolders) {
        std::error_code unreadable;
        for (std::filesystem::directory_iterator at(root + folder, unreadable), end; !unreadable && at != end;
             at.increment(unreadable)) {
            if (at->path().extension() == ".rules") {
                files.emplace(at->path().filename(), folder);
            }
        }
    }
    return files;
}

} // namespace

std::vector<FoundRule> findRules(const std::string& root, const DeviceSelector& device)
{
    std::vector<FoundRule> found;
    for (const auto& [name, folder] : ruleFiles(root)) {
        const std::string file = folder + "/" + name;
        readRules(root + file, [&, &fileName = name](const std::string& rule, std::size_t line) {
            const std::vector<Part> parts = partsOf(rule);
            if (names(parts, device) && std::ranges::any_of(parts, givesAccess)) {
                found.push_back({file, line, faultOf(parts, fileName), interfaceOf(parts)});
            }
        });
    }
    return found;
}

} // namespace qrxhid
