#include "text/ReportText.h"

#include "text/Json.h"
#include "text/UnitText.h"
#include "text/UsageNames.h"

#include <sstream>

namespace qrxhid {

namespace {

// Values that the last usage of a field stands for share a line: sixty bytes of a buffer are sixty values of one usage.
bool isOfOneField(const QrxDecodedValue& left, const QrxDecodedValue& right)
{
    return left.getCapability() && left.getCapability() == right.getCapability() && !left.isArraySelection() &&
           !right.isArraySelection();
}

std::string numberText(bool isSigned, std::uint64_t bits)
{
    // The same bits are two numbers: -1, or the largest one of 64 bits, which JSON readers may round.
    return isSigned ? std::to_string(static_cast<std::int64_t>(bits)) : std::to_string(bits);
}

nlohmann::ordered_json numberJson(const QrxReportValues& values, std::size_t index)
{
    if (values.isSigned(index)) {
        return values.getValue(index);
    }
    return values.getUnsignedValue(index);
}

/// "(90 deg)"; empty where the number as it stands is the measure.
std::string measureText(const QrxReportValues& values, std::size_t index)
{
    const QrxReportField field = values.getField(index);
    const bool isPlain = field.getPhysicalMinimum() == field.getLogicalMinimum() &&
                         field.getPhysicalMaximum() == field.getLogicalMaximum() && field.getUnitExponent() == 0;
    const std::string unit = unitText(field.getUnit(), 0);
    // A usage that is shown and a value that says "none" measure nothing.
    if (values.isArraySelection(index) || values.isNull(index) || (isPlain && unit.empty())) {
        return {};
    }
    std::ostringstream text;
    text << field.getPhysicalValue(values.getValue(index));
    return " (" + text.str() + (unit.empty() ? "" : " " + unit) + ")";
}

} // namespace

void writeValues(std::ostream& out, const QrxReportValues& values, const char* indent)
{
    for (std::size_t i = 0; i < values.getCount(); ++i) {
        // A value a line, since a decoded report is read once and carefully; `watch` puts values of a field side by
        // side.
        out << indent << usageText(values.getUsagePage(i), values.getUsage(i)) << " = "
            << numberText(values.isSigned(i), values.getUnsignedValue(i)) << (values.isNull(i) ? " (null)" : "")
            << measureText(values, i) << "\n";
    }
}

nlohmann::ordered_json valuesJson(const QrxReportValues& values)
{
    auto list = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < values.getCount(); ++i) {
        list.push_back({{"usagePage", values.getUsagePage(i)},
                        {"usage", values.getUsage(i)},
                        {"name", usageText(values.getUsagePage(i), values.getUsage(i))},
                        {"value", numberJson(values, i)},
                        {"isNull", values.isNull(i)}});
    }
    return list;
}

void writeValues(std::ostream& out, const std::vector<QrxDecodedValue>& values, const char* indent)
{
    // Written at once: a fast device sends hundreds of thousands of values a second.
    std::string text;
    for (std::size_t i = 0; i < values.size(); ++i) {
        // The name only where it changes, and the values of one field behind it.
        if (i == 0 || !isOfOneField(values[i - 1], values[i])) {
            text += i == 0 ? "" : "\n";
            text += indent + usageText(values[i].getUsagePage(), values[i].getUsage()) + " =";
        }
        text += " ";
        text += numberText(values[i].isSigned(), values[i].getUnsignedValue());
        text += values[i].isNull() ? " (null)" : "";
    }
    out << text << (values.empty() ? "" : "\n");
}

std::string ValuesJson::textOf(const std::vector<QrxDecodedValue>& values)
{
    std::string text = "[";
    for (const QrxDecodedValue& value : values) {
        text += text.size() == 1 ? "" : ",";
        text += beginningOf(value.getUsagePage(), value.getUsage());
        text += numberText(value.isSigned(), value.getUnsignedValue());
        // A null value keeps its number: the bits that were sent say something to whoever writes the device's program.
        text += value.isNull() ? ",\"isNull\":true}" : ",\"isNull\":false}";
    }
    text += "]";
    return text;
}

const std::string& ValuesJson::beginningOf(std::uint32_t page, std::uint32_t usage)
{
    // A device can declare millions of usages and show each of them once.
    constexpr std::size_t kMostKept = 10'000;
    if (_beginnings.size() >= kMostKept) {
        _beginnings.clear();
    }
    constexpr unsigned kUsageBits = 32;
    std::string& beginning = _beginnings[std::uint64_t{page} << kUsageBits | usage];
    if (beginning.empty()) {
        constexpr bool kOnlyAscii = true;
        const std::string name = nlohmann::ordered_json(usageText(page, usage)).dump(-1, ' ', kOnlyAscii);
        beginning = "{\"usagePage\":" + std::to_string(page) + ",\"usage\":" + std::to_string(usage) +
                    ",\"name\":" + name + ",\"value\":";
    }
    return beginning;
}

} // namespace qrxhid
