#include "ReportText.h"

#include "UsageNames.h"

namespace qrxhid {

namespace {

bool isOfOneField(const QrxDecodedValue& left, const QrxDecodedValue& right)
{
    return left.capability == right.capability && !left.isArraySelection && !right.isArraySelection;
}

/// A device with a null state says "nothing" by a value outside of its range.
bool isNull(const QrxDecodedValue& value)
{
    if (value.isArraySelection || !value.capability->hasNullState()) {
        return false;
    }
    const auto minimum = static_cast<std::int32_t>(value.capability->getMinValue());
    const auto maximum = static_cast<std::int32_t>(value.capability->getMaxValue());
    return value.value < minimum || (maximum >= minimum && value.value > maximum);
}

} // namespace

void writeValues(std::ostream& out, const std::vector<QrxDecodedValue>& values, const char* indent)
{
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (i == 0 || !isOfOneField(values[i - 1], values[i])) {
            out << (i == 0 ? "" : "\n") << indent << usageText(values[i].usagePage, values[i].usage) << " =";
        }
        out << " " << values[i].value << (isNull(values[i]) ? " (null)" : "");
    }
    out << (values.empty() ? "" : "\n");
}

nlohmann::ordered_json valuesJson(const std::vector<QrxDecodedValue>& values)
{
    auto list = nlohmann::ordered_json::array();
    for (const QrxDecodedValue& value : values) {
        list.push_back({{"usagePage", value.usagePage},
                        {"usage", value.usage},
                        {"name", usageText(value.usagePage, value.usage)},
                        {"value", value.value},
                        {"isNull", isNull(value)}});
    }
    return list;
}

} // namespace qrxhid
