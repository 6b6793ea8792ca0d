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

// Wide enough for what most devices have.
constexpr std::size_t kKindWidth = 12;
constexpr std::size_t kPlaceWidth = 15;
constexpr std::size_t kSizeWidth = 13;
constexpr std::size_t kUsageWidth = 44;
constexpr std::size_t kRangeWidth = 16;

std::string kindText(const FieldOutline& field)
{
    return fieldKindName(field.kind) + (field.reportID == 0 ? std::string() : " " + std::to_string(field.reportID));
}

std::string placeText(const FieldOutline& field)
{
    if (!field.bitOffset) {
        return "no place";
    }
    constexpr std::size_t kBitsPerByte = 8;
    const std::size_t bit = *field.bitOffset % kBitsPerByte;
    return "byte " + std::to_string(*field.bitOffset / kBitsPerByte) + (bit == 0 ? "" : " bit " + std::to_string(bit));
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
        return unit.empty() ? "" : "in " + unit + ", ";
    }
    return "= " + rangeText(field.physicalMinimum, field.physicalMaximum) + (unit.empty() ? "" : " " + unit) + ", ";
}

} // namespace

std::string fieldUsageText(const FieldOutline& field)
{
    if (field.usages.empty()) {
        return "no usage";
    }
    const UsageSpan& first = field.usages.front();
    std::string text = usageRangeText(first.page, first.first, first.last);
    constexpr std::size_t kShownSpans = 4;
    for (std::size_t i = 1; i < field.usages.size() && i < kShownSpans; ++i) {
        const UsageSpan& span = field.usages[i];
        const std::string range = usageRangeText(span.page, span.first, span.last);
        const std::string page = usagePageName(span.page) + ": ";
        const bool isRepeated = span.page == field.usages[i - 1].page && range.starts_with(page);
        text += ", " + (isRepeated ? range.substr(page.size()) : range);
    }
    text += field.usages.size() > kShownSpans ? ", ..." : "";
    return field.isArray ? text + " (" + std::to_string(field.usageCount()) + ")" : text;
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

std::string fieldText(const FieldOutline& field)
{
    return padded(kindText(field), kKindWidth) + padded(placeText(field), kPlaceWidth) +
           padded(sizeText(field), kSizeWidth) + padded(fieldUsageText(field), kUsageWidth) + "  " +
           padded(rangeText(field.minimum, field.maximum), kRangeWidth) + "  " + physicalText(field) + flagText(field);
}

} // namespace qrxhid
