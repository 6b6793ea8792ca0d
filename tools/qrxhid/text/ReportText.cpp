#include "text/ReportText.h"

#include "text/UsageNames.h"

namespace qrxhid {

namespace {

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

} // namespace

void writeValues(std::ostream& out, const std::vector<QrxDecodedValue>& values, const char* indent)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
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
