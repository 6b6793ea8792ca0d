#include "text/FieldText.h"

#include "text/TextFormat.h"
#include "text/UnitText.h"
#include "text/UsageNames.h"

namespace qrxhid {

namespace {

struct FlagWord {
    std::uint32_t flag;
    const char* word;
};

constexpr std::uint32_t kRelative = 0x004;
constexpr FlagWord kFlagWords[] = {{0x008, "wrap"},       {0x010, "non-linear"}, {0x020, "no preferred state"},
                                   {0x040, "null state"}, {0x080, "volatile"},   {0x100, "buffered bytes"}};

std::string kindText(const FieldOutline& field)
{
    return fieldKindName(field.kind) + (field.reportID == 0 ? std::string() : " " + std::to_string(field.reportID));
}

std::string placeText(const FieldOutline& field)
{
    // More usages than values: macOS numbers these too.
    if (!field.bitOffset) {
        return "no place";
    }
    constexpr std::size_t kBitsPerByte = 8;
    const std::size_t bit = *field.bitOffset % kBitsPerByte;
    // Counted from the report's first byte as it travels, the number included: as a dump of it is read.
    return "byte " + std::to_string(*field.bitOffset / kBitsPerByte) + (bit == 0 ? "" : "." + std::to_string(bit));
}

std::string sizeText(const FieldOutline& field)
{
    return (field.count == 1 ? "" : std::to_string(field.count) + " x ") + countText(field.sizeBits, "bit");
}

std::string rangeText(std::int64_t minimum, std::int64_t maximum)
{
    return std::to_string(minimum) + " .. " + std::to_string(maximum);
}

/// Empty where the physical values are the logical ones.
std::string physicalText(const FieldOutline& field)
{
    const std::string unit = unitText(field.unit, field.unitExponent);
    const bool isScaled = field.physicalMinimum != field.minimum || field.physicalMaximum != field.maximum;
    if (!isScaled) {
        return unit.empty() ? "" : "in " + unit;
    }
    return "= " + rangeText(field.physicalMinimum, field.physicalMaximum) + (unit.empty() ? "" : " " + unit);
}

/// A range of usages, with its page only where that is not the one before.
std::string spanText(const UsageSpan& span, std::uint32_t pageBefore)
{
    const std::string range = usageRangeText(span.page, span.first, span.last);
    // Names of keys carry no page, so there may be nothing to take off.
    const std::string page = usagePageName(span.page) + ": ";
    return span.page == pageBefore && range.starts_with(page) ? range.substr(page.size()) : range;
}

std::string usagesText(const FieldOutline& field, std::uint32_t pageAround)
{
    if (field.usages.empty()) {
        return "no usage";
    }
    // A few spans tell what the field is; vendors declare hundreds.
    constexpr std::size_t kShownSpans = 4;
    std::string text;
    std::uint32_t page = pageAround;
    for (std::size_t i = 0; i < field.usages.size() && i < kShownSpans; ++i) {
        text += (i == 0 ? "" : ", ") + spanText(field.usages[i], page);
        page = field.usages[i].page;
    }
    text += field.usages.size() > kShownSpans ? ", ..." : "";
    // An array has more usages than places, so their number is told apart.
    return field.isArray ? text + " (" + std::to_string(field.usageCount()) + ")" : text;
}

/// The flags that most fields do not have.
std::vector<std::string> unusualFlags(const FieldOutline& field)
{
    std::vector<std::string> words;
    if (field.isConstant()) {
        words.emplace_back("constant");
    }
    if (field.isArray) {
        words.emplace_back("array");
    }
    if ((field.flags & kRelative) != 0) {
        words.emplace_back("relative");
    }
    for (const FlagWord& entry : kFlagWords) {
        if ((field.flags & entry.flag) != 0) {
            words.emplace_back(entry.word);
        }
    }
    return words;
}

} // namespace

FieldWords fieldWords(const FieldOutline& field, std::uint32_t pageAround)
{
    std::string details = physicalText(field);
    for (const std::string& word : unusualFlags(field)) {
        details += (details.empty() ? "" : ", ") + word;
    }
    return {usagesText(field, pageAround),           kindText(field), placeText(field), sizeText(field),
            rangeText(field.minimum, field.maximum), details};
}

std::string reportText(const ReportOutline& report)
{
    return std::string(fieldKindName(report.kind)) + " report" +
           (report.reportID == 0 ? "" : " " + std::to_string(report.reportID)) + ": " +
           countText(report.bytes(), "byte");
}

std::string flagText(const FieldOutline& field)
{
    std::string text = field.isConstant() ? "constant, " : "";
    text += field.isArray ? "array, " : "variable, ";
    text += (field.flags & kRelative) != 0 ? "relative" : "absolute";
    for (const FlagWord& entry : kFlagWords) {
        if ((field.flags & entry.flag) != 0) {
            text += std::string(", ") + entry.word;
        }
    }
    return text;
}

} // namespace qrxhid
