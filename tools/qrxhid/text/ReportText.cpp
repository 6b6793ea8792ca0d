#include "text/ReportText.h"

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

nlohmann::ordered_json numberJson(const QrxDecodedValue& value)
{
    if (value.isSigned()) {
        return value.getValue();
    }
    return value.getUnsignedValue();
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
        out << indent << usageText(values.getUsagePage(i), values.getUsage(i)) << " = " << numberJson(values, i)
            << (values.isNull(i) ? " (null)" : "") << measureText(values, i) << "\n";
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
    for (std::size_t i = 0; i < values.size(); ++i) {
        // The name only where it changes, and the values of one field behind it.
        if (i == 0 || !isOfOneField(values[i - 1], values[i])) {
            out << (i == 0 ? "" : "\n") << indent << usageText(values[i].getUsagePage(), values[i].getUsage()) << " =";
        }
        out << " " << numberJson(values[i]) << (values[i].isNull() ? " (null)" : "");
    }
    out << (values.empty() ? "" : "\n");
}

nlohmann::ordered_json valuesJson(const std::vector<QrxDecodedValue>& values)
{
    auto list = nlohmann::ordered_json::array();
    for (const QrxDecodedValue& value : values) {
        list.push_back({{"usagePage", value.getUsagePage()},
                        {"usage", value.getUsage()},
                        {"name", usageText(value.getUsagePage(), value.getUsage())},
                        {"value", numberJson(value)},
                        {"isNull", value.isNull()}});
    }
    return list;
}

} // namespace qrxhid
