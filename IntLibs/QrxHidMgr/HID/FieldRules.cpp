#include "FieldRules.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace qrx::hid {

namespace {

constexpr std::uint32_t kLargestReportID = 0xFF;

bool namesNothing(const UsageRange& range)
{
    return range.first == range.last && isUndefined(range.first);
}

} // namespace

bool canTravel(std::uint32_t reportID)
{
    // The number is sent as one byte before the report (HID 1.11, 5.6), so a larger one cannot be told from its low
    // byte.
    return reportID <= kLargestReportID;
}

bool isPadding(const Field& field)
{
    if (field.sizeBits == 0 || field.count == 0 || field.usages.empty()) {
        return true;
    }
    // Constant alone does not make padding: some devices mark fields as constant that have a usage, and the platform
    // shows these.
    return field.isConstant() && std::all_of(field.usages.begin(), field.usages.end(), namesNothing);
}

std::uint64_t usageCount(const Field& field)
{
    return std::accumulate(field.usages.begin(), field.usages.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const UsageRange& range) { return sum + range.count(); });
}

std::uint32_t lastUsageCount(const Field& field)
{
    // Each usage of a range stands for one value: values beyond the range have no name and are padding.
    if (field.usages.back().count() > 1) {
        return 1;
    }
    // All usages but the last take a value each; what remains belongs to the last one.
    const std::uint64_t before = usageCount(field) - 1;
    return before >= field.count ? 1 : static_cast<std::uint32_t>(field.count - before);
}

ValueRange logicalRange(const Field& field)
{
    // The field's own bits bound what it can hold. 32 is the widest that an element can show.
    const std::int64_t highest =
        field.sizeBits >= 32 ? std::int64_t{0xFFFFFFFF} : (std::int64_t{1} << field.sizeBits) - 1;
    ValueRange range{field.logicalMinimum > highest ? 0 : field.logicalMinimum,
                     std::min(field.logicalMaximum, highest)};
    if (field.isVariable() && range.minimum > range.maximum) {
        std::swap(range.minimum, range.maximum);
    }
    return range;
}

ValueRange physicalRange(const Field& field, const ValueRange& logical)
{
    if (field.physicalMinimum >= field.physicalMaximum) {
        return logical;
    }
    return {field.physicalMinimum, field.physicalMaximum};
}

} // namespace qrx::hid
