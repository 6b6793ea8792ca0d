#include "ElementBudget.h"

#include "ElementTree.h"

#include <algorithm>
#include <numeric>

namespace qrx::hid {

namespace {

constexpr std::uint32_t kLargestReportID = 0xFF;
constexpr std::uint32_t kUsageIDMask = 0xFFFF;

/// Usage 0 is undefined on every page.
bool isUndefined(const UsageRange& range)
{
    return range.first == range.last && (range.first & kUsageIDMask) == 0;
}

std::uint64_t usageCount(const Field& field)
{
    return std::accumulate(field.usages.begin(), field.usages.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const UsageRange& range) { return sum + range.count(); });
}

/// Fields that only fill up: nothing to read, or nothing to call it.
bool isPadding(const Field& field)
{
    if (field.sizeBits == 0 || field.count == 0 || field.usages.empty())
        return true;
    return field.isConstant() && std::all_of(field.usages.begin(), field.usages.end(), isUndefined);
}

const char* nameOf(const Field& field)
{
    switch (field.type) {
    case ReportType::output:
        return "Output";
    case ReportType::feature:
        return "Feature";
    case ReportType::input:
        break;
    }
    return "Input";
}

std::uint64_t entriesOf(const Field& field, bool withHiddenDuplicates)
{
    if (isPadding(field) || !canTravel(field.reportID))
        return 0;
    const std::uint64_t usages = usageCount(field);
    if (!field.isVariable())
        return 1 + (field.count > 1 ? field.count : 0) + usages;
    if (isButton(field))
        return usages;
    const std::uint32_t repeats = lastUsageCount(field);
    const bool makesDuplicates = repeats > 1 && (withHiddenDuplicates || repeats <= kMaximumPublishedDuplicates);
    return usages + (makesDuplicates ? repeats : 0);
}

} // namespace

bool canTravel(std::uint32_t reportID)
{
    return reportID <= kLargestReportID;
}

std::uint32_t lastUsageCount(const Field& field)
{
    // Each usage of a range stands for one value, whatever the count says.
    if (field.usages.back().count() > 1)
        return 1;
    const std::uint64_t before = usageCount(field) - 1;
    return before >= field.count ? 1 : static_cast<std::uint32_t>(field.count - before);
}

ElementBudget::ElementBudget(const std::vector<Field>& fields, std::size_t room, DiagnosisLog& log)
    : _entries(fields.size())
{
    _count(fields);
    if (_total <= room)
        return;
    _makesHiddenDuplicates = false;
    const std::vector<std::uint64_t> all = _entries;
    _count(fields);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (_entries[i] != all[i])
            log.warning(fields[i].offset, nameOf(fields[i]),
                        "too many elements, its unpublished duplicates are left out",
                        static_cast<std::int64_t>(all[i] - _entries[i]));
    }
    if (_total > room)
        _cutLargest(fields, room, log);
}

void ElementBudget::_cutLargest(const std::vector<Field>& fields, std::size_t room, DiagnosisLog& log)
{
    const std::uint64_t largest = _largestItem(room);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (_entries[i] <= largest)
            continue;
        log.warning(fields[i].offset, nameOf(fields[i]), "more elements than the limit leaves room for, left out",
                    static_cast<std::int64_t>(_entries[i] - largest));
        _total -= _entries[i] - largest;
        _entries[i] = largest;
    }
}

void ElementBudget::_count(const std::vector<Field>& fields)
{
    _total = 0;
    for (std::size_t i = 0; i < fields.size(); ++i)
        _total += _entries[i] = entriesOf(fields[i], _makesHiddenDuplicates);
}

std::uint64_t ElementBudget::_largestItem(std::size_t room) const
{
    std::vector<std::uint64_t> sorted(_entries);
    std::sort(sorted.begin(), sorted.end());
    std::uint64_t left = room;
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        const std::uint64_t share = left / (sorted.size() - i);
        if (sorted[i] > share)
            return share;
        left -= sorted[i];
    }
    return room;
}

} // namespace qrx::hid
