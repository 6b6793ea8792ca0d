#include "doctor/RuleSearch.h"

#include "doctor/FileText.h"
#include "doctor/RuleText.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <filesystem>
#include <map>
#include <string_view>

namespace qrxhid {

namespace {

/// A file here hides those of the same name in the folders after it.
constexpr const char* kFolders[] = {"/etc/udev/rules.d", "/run/udev/rules.d", "/usr/lib/udev/rules.d",
                                    "/lib/udev/rules.d"};
/// 73-seat-late.rules turns the tag into an access list.
constexpr std::string_view kTagIsActedUpon = "73";

// udev compares exactly, and the kernel writes lower case. The search does not, to find rules that were meant to match.
std::string lowered(std::string text)
{
    std::ranges::transform(text, text.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

bool isMatch(const RulePart& part, std::string_view attribute, const std::string& wanted)
{
    return part.operation == "==" && part.attribute == attribute && lowered(part.value) == wanted;
}

/// By the attributes of the USB device, or by a name that holds both IDs ("0003:04D8:003F.*").
bool names(const std::vector<RulePart>& parts, const DeviceIdentity& device)
{
    const std::string ids = device.text();
    const auto hasID = [&parts](std::string_view attribute, const std::string& wanted) {
        return std::ranges::any_of(parts, [&](const RulePart& part) { return isMatch(part, attribute, wanted); });
    };
    const auto hasBoth = [&ids](const RulePart& part) {
        return part.operation == "==" && lowered(part.value).find(ids) != std::string::npos;
    };
    // A rule that names the vendor alone is not looked for: what it gives shows in the node's permissions already.
    return (hasID("idVendor", ids.substr(0, 4)) && hasID("idProduct", ids.substr(5))) ||
           std::ranges::any_of(parts, hasBoth);
}

bool isTag(const RulePart& part)
{
    return part.key == "TAG" && (part.operation == "+=" || part.operation == "=") && part.value == "uaccess";
}

// A rule that only sets a name or a property is about this device and changes nothing for its user.
bool givesAccess(const RulePart& part)
{
    const bool assigns = part.operation == "=" || part.operation == ":=";
    return isTag(part) || (assigns && (part.key == "MODE" || part.key == "GROUP" || part.key == "OWNER"));
}

bool isID(const RulePart& part)
{
    return part.attribute == "idVendor" || part.attribute == "idProduct";
}

// The order is that of how surely each one keeps the rule from matching; a person is told one thing to mend at a time.
FoundRule::Fault faultOf(const std::vector<RulePart>& parts, const std::string& fileName)
{
    const auto any = [&parts](auto predicate) { return std::ranges::any_of(parts, predicate); };
    if (any([](const RulePart& part) {
            return part.key == "SUBSYSTEM" && part.operation == "==" && part.value.starts_with("usb");
        })) {
        return FoundRule::Fault::notForNodes;
    }
    if (any([](const RulePart& part) { return isID(part) && part.key == "ATTR"; })) {
        return FoundRule::Fault::attrOfNode;
    }
    if (any([](const RulePart& part) { return isID(part) && part.value != lowered(part.value); })) {
        return FoundRule::Fault::capitals;
    }
    const bool byTagAlone = any(isTag) && !any([](const RulePart& part) { return givesAccess(part) && !isTag(part); });
    return byTagAlone && fileName >= kTagIsActedUpon ? FoundRule::Fault::tooLate : FoundRule::Fault::none;
}

std::optional<int> interfaceOf(const std::vector<RulePart>& parts)
{
    for (const RulePart& part : parts) {
        int number = 0;
        if (part.attribute == "bInterfaceNumber" && part.operation == "==" &&
            std::from_chars(part.value.data(), part.value.data() + part.value.size(), number, 16).ec == std::errc()) {
            return number;
        }
    }
    return std::nullopt;
}

/// File name to folder, in the order of the names: as udev reads them.
std::map<std::string, std::string> ruleFiles(const std::string& root)
{
    std::map<std::string, std::string> files;
    for (const std::string folder : kFolders) {
        std::error_code unreadable;
        for (std::filesystem::directory_iterator at(root + folder, unreadable), end; !unreadable && at != end;
             at.increment(unreadable)) {
            // Others are left alone by udev too, such as those that a package manager has set aside.
            if (at->path().extension() == ".rules") {
                // A name that is there already stays: the folders are in order of precedence.
                files.emplace(at->path().filename(), folder);
            }
        }
    }
    return files;
}

} // namespace

std::vector<FoundRule> findRules(const std::string& root, const DeviceIdentity& device)
{
    std::vector<FoundRule> found;
    for (const auto& [name, folder] : ruleFiles(root)) {
        const std::string file = folder + "/" + name;
        for (const RuleLine& line : ruleLines(fileText(root + file).value_or(""))) {
            // A file that may not be read counts as empty: there is nothing to say about its rules.
            if (names(line.parts, device) && std::ranges::any_of(line.parts, givesAccess)) {
                found.push_back({file, line.number, faultOf(line.parts, name), interfaceOf(line.parts)});
            }
        }
    }
    return found;
}

} // namespace qrxhid
