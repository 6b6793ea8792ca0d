#include "oracle/Comparison.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace qrx::guest {

namespace {

constexpr std::size_t kKernelFields = 256;
constexpr std::size_t kKernelUsages = 12288;

const char* nameOf(hid::ReportType type)
{
    return type == hid::ReportType::input ? "INPUT" : type == hid::ReportType::output ? "OUTPUT" : "FEATURE";
}

/// As the kernel keeps it.
std::int64_t narrowed(std::int64_t value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

/// The unit in the words of the kernel (HID 1.11, 6.2.2.7: a nibble for the system, then one exponent for each
/// quantity).
std::string unitText(std::uint32_t unit)
{
    static constexpr std::array<const char*, 5> kSystems{"None", "SI Linear", "SI Rotation", "English Linear",
                                                         "English Rotation"};
    static constexpr std::array<std::array<const char*, 7>, 5> kQuantities{{
        {"None", "None", "None", "None", "None", "None", "None"},
        {"Centimeter", "Gram", "Seconds", "Kelvin", "Ampere", "Candela", "None"},
        {"Radians", "Gram", "Seconds", "Kelvin", "Ampere", "Candela", "None"},
        {"Inch", "Slug", "Seconds", "Fahrenheit", "Ampere", "Candela", "None"},
        {"Degrees", "Slug", "Seconds", "Fahrenheit", "Ampere", "Candela", "None"},
    }};
    if (unit == 0)
        return {};
    const std::uint32_t system = unit & 0xF;
    if (system >= kSystems.size())
        return "Invalid";
    std::string quantities;
    for (std::size_t place = 0; place < kQuantities[system].size(); ++place) {
        const std::uint32_t nibble = (unit >> (4 + 4 * place)) & 0xF;
        if (nibble == 0)
            continue;
        quantities += std::string(quantities.empty() ? "" : "*") + kQuantities[system][place];
        if (nibble != 1)
            quantities += "^" + std::to_string(nibble < 8 ? static_cast<int>(nibble) : static_cast<int>(nibble) - 16);
    }
    return std::string(kSystems[system]) + " : " + quantities;
}

std::string flagText(std::uint32_t flags)
{
    std::string text = (flags & hid::kFieldConstant) != 0 ? "Constant " : "";
    text += (flags & hid::kFieldVariable) != 0 ? "Variable " : "Array ";
    text += (flags & hid::kFieldRelative) != 0 ? "Relative" : "Absolute";
    static constexpr std::array<std::pair<std::uint32_t, const char*>, 6> kOthers{
        {{hid::kFieldWrap, " Wrap"},
         {hid::kFieldNonLinear, " NonLinear"},
         {hid::kFieldNoPreferred, " NoPreferredState"},
         {hid::kFieldNullState, " NullState"},
         {hid::kFieldVolatile, " Volatile"},
         {hid::kFieldBufferedBytes, " BufferedByte"}}};
    for (const auto& [flag, word] : kOthers)
        text += (flags & flag) != 0 ? word : "";
    return text;
}

/// The usages one by one as the kernel keeps them: the last is repeated until there is one for each value.
std::vector<std::uint32_t> usagesOf(const hid::Field& field)
{
    std::vector<std::uint32_t> usages;
    for (const hid::UsageRange& range : field.usages) {
        for (std::uint64_t usage = range.first; usage <= range.last && usages.size() < kKernelUsages; ++usage)
            usages.push_back(static_cast<std::uint32_t>(usage));
    }
    if (!usages.empty() && usages.size() < field.count)
        usages.resize(field.count, usages.back());
    return usages;
}

/// Collects the disagreements of one field under its name.
class FieldComparison {
public:
    FieldComparison(std::string where, std::vector<std::string>& found) : _where(std::move(where)), _found(found) {}

    void text(const char* what, const std::string& ours, const std::string& theirs)
    {
        if (ours != theirs)
            _found.push_back(_where + ": " + what + " " + ours + ", the kernel's " + theirs);
    }
    template <typename Ours, typename Theirs>
    void number(const char* what, Ours ours, Theirs theirs)
    {
        text(what, std::to_string(ours), std::to_string(theirs));
    }

private:
    std::string _where;
    std::vector<std::string>& _found;
};

void compareLimits(FieldComparison& comparison, const hid::Field& ours, const KernelField& theirs)
{
    const bool hasLogical = narrowed(ours.logicalMinimum) != narrowed(ours.logicalMaximum);
    comparison.number("logical range told", hasLogical, theirs.hasLogical);
    if (hasLogical && theirs.hasLogical) {
        comparison.number("logical minimum", narrowed(ours.logicalMinimum), theirs.logicalMinimum);
        comparison.number("logical maximum", narrowed(ours.logicalMaximum), theirs.logicalMaximum);
    }
    const bool hasPhysical = narrowed(ours.physicalMinimum) != narrowed(ours.physicalMaximum);
    comparison.number("physical range told", hasPhysical, theirs.hasPhysical);
    if (hasPhysical && theirs.hasPhysical) {
        comparison.number("physical minimum", narrowed(ours.physicalMinimum), theirs.physicalMinimum);
        comparison.number("physical maximum", narrowed(ours.physicalMaximum), theirs.physicalMaximum);
    }
}

void compareUsages(FieldComparison& comparison, const hid::Field& ours, const KernelField& theirs, UsageNames& names)
{
    const std::vector<std::uint32_t> usages = usagesOf(ours);
    comparison.number("number of usages", usages.size(), theirs.usages.size());
    for (std::size_t index = 0; index < std::min(usages.size(), theirs.usages.size()); ++index) {
        const std::string name = names.of(usages[index]);
        if (name == theirs.usages[index])
            continue;
        comparison.text(("usage " + std::to_string(index)).c_str(), name, theirs.usages[index]);
        return; // the first one tells it
    }
}

/// The usage of the innermost application collection around, as the kernel names it.
std::optional<std::uint32_t> applicationOf(const hid::Descriptor& descriptor, const hid::Field& field)
{
    for (std::optional<std::size_t> index = field.collection; index; index = descriptor.collections[*index].parent) {
        const hid::Collection& collection = descriptor.collections[*index];
        if (collection.type == 1)
            return std::uint32_t{collection.usagePage} << 16 | (collection.usage & 0xFFFF);
    }
    return std::nullopt;
}

void compareField(FieldComparison comparison, const hid::Descriptor& descriptor, const hid::Field& ours,
                  const KernelField& theirs, UsageNames& names)
{
    comparison.number("bit offset", ours.bitOffset, theirs.bitOffset);
    comparison.number("size", ours.sizeBits, theirs.sizeBits);
    comparison.number("count", ours.count, theirs.count);
    comparison.text("flags", flagText(ours.flags), theirs.flags);
    compareLimits(comparison, ours, theirs);
    comparison.number("unit exponent", ours.unitExponent, theirs.unitExponent);
    comparison.text("unit", unitText(ours.unit), theirs.unit);
    compareUsages(comparison, ours, theirs, names);
    const std::optional<std::uint32_t> application = applicationOf(descriptor, ours);
    if (application && !theirs.application.empty())
        comparison.text("application", names.of(*application), theirs.application);
}

/// Our fields of one report that the kernel can know.
std::vector<const hid::Field*> fieldsOf(const hid::Descriptor& descriptor, const KernelReport& report)
{
    std::vector<const hid::Field*> fields;
    for (const hid::Field& field : descriptor.fields) {
        if (nameOf(field.type) == report.type && field.reportID == report.id && !field.usages.empty() &&
            fields.size() < kKernelFields)
            fields.push_back(&field);
    }
    return fields;
}

void compareReport(const hid::Descriptor& ours, const KernelReport& theirs, UsageNames& names,
                   std::vector<std::string>& found)
{
    const std::string where = theirs.type + " " + std::to_string(theirs.id);
    const std::vector<const hid::Field*> fields = fieldsOf(ours, theirs);
    if (fields.size() != theirs.fields.size()) {
        found.push_back(where + ": " + std::to_string(fields.size()) + " fields, the kernel's " +
                        std::to_string(theirs.fields.size()));
        return; // which belongs to which is not known
    }
    for (std::size_t index = 0; index < fields.size(); ++index)
        compareField({where + " field " + std::to_string(index), found}, ours, *fields[index], theirs.fields[index],
                     names);
}

/// The reports by type and number; both sides list them in the order of their appearance, types apart.
std::vector<std::string> reportList(const hid::Descriptor& ours)
{
    std::vector<std::string> list;
    for (const hid::ReportType type : {hid::ReportType::input, hid::ReportType::output, hid::ReportType::feature}) {
        for (const hid::Report& report : ours.reports) {
            if (report.type == type)
                list.push_back(nameOf(type) + (" " + std::to_string(report.id)));
        }
    }
    return list;
}

std::string joined(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

} // namespace

std::vector<std::string> compare(const hid::Descriptor& ours, const std::vector<KernelReport>& theirs,
                                 UsageNames& names)
{
    std::vector<std::string> found;
    std::vector<std::string> kernelList;
    for (const KernelReport& report : theirs)
        kernelList.push_back(report.type + " " + std::to_string(report.id));
    const std::vector<std::string> ourList = reportList(ours);
    if (ourList != kernelList)
        found.push_back("reports " + joined(ourList) + "; the kernel's " + joined(kernelList));
    for (const KernelReport& report : theirs)
        compareReport(ours, report, names, found);
    return found;
}

} // namespace qrx::guest
