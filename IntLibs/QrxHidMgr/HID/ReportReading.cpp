// From the bytes of a report to values. This runs for every report of a device that is decoded. So its time grows with
// the values of the report alone, not with what its arrays could show, and after the first reports nothing is
// allocated.

#include "FieldRules.h"
#include "ReportLayout.h"

#include <algorithm>
#include <utility>

namespace qrx::hid {

std::span<ReportValue> ReportValues::add(std::size_t count)
{
    const std::size_t first = _count;
    if (_values.size() - first < count) {
        // The list grows for the first reports and is then large enough: a report that arrives later allocates nothing.
        _values.resize(std::max(first + count, 2 * _values.size()));
    }
    _count += count;
    return std::span(_values).subspan(first, count);
}

namespace {

/// Reads the fields of one report into a list of values.
class ReportReading {
public:
    ReportReading(std::span<const std::uint8_t> report, ReportValues& values)
        : _report(report), _bits(report.size() * 8), _values(values)
    {
    }

    void readVariable(const LayoutField& field, std::uint32_t fieldIndex)
    {
        const std::size_t count = field.valuesWithin(_bits);
        // The usages are counted along with the values instead of being searched for each: this loop is what decoding
        // costs.
        const std::span<ReportValue> value = _values.add(count);
        std::size_t index = 0;
        std::uint64_t position = 0;
        for (const UsageRange& range : field.usages) {
            // The end of the range is tested inside, because a range may end at the largest number and `usage` would
            // wrap round.
            for (std::uint32_t usage = range.first; index < count; ++usage, ++position) {
                set(value[index], field, fieldIndex, index, usage, position);
                ++index;
                if (usage == range.last) {
                    ++position;
                    break;
                }
            }
        }
        // The values for which no usage is left repeat the last one. `position` is one past it.
        for (; index < count; ++index) {
            set(value[index], field, fieldIndex, index, field.usages.back().last, position - 1);
        }
    }

    void addSelection(const LayoutField& array, std::uint32_t fieldIndex, std::uint64_t position, std::size_t entry)
    {
        // A usage with the ID 0 is "nothing pressed" by definition, although it has a number like any other.
        const std::uint32_t usage = array.usageAt(position);
        if (isUndefined(usage)) {
            return;
        }
        _values.add(1).front() = {usage, array.sizeBits, fieldIndex, array.valueOffset(entry), position, 1,
                                  false, false,          true};
    }

private:
    void set(ReportValue& value, const LayoutField& field, std::uint32_t fieldIndex, std::size_t index,
             std::uint32_t usage, std::uint64_t position) const
    {
        value.usage = usage;
        value.sizeBits = field.sizeBits;
        value.field = fieldIndex;
        value.usagePosition = position;
        value.bitOffset = field.valueOffset(index);
        value.value = field.logicalValue(_report, index);
        value.isSigned = field.isSigned;
        value.isNull = field.hasNullState() && !field.isWithin(value.value);
        value.isSelection = false;
    }

    std::span<const std::uint8_t> _report;
    std::size_t _bits;
    ReportValues& _values;
};

} // namespace

void ReportLayout::decode(ReportType type, std::span<const std::uint8_t> report, ReportValues& values) const
{
    values.clear();
    if (report.empty()) {
        return;
    }
    const DeclaredReport* declared = find(type, _numbersReports ? report.front() : 0);
    if (declared == nullptr) {
        return;
    }
    ReportReading reading(report, values);
    for (std::size_t index = declared->firstField; index < declared->endField; ++index) {
        const LayoutField& field = _fields[index];
        // Constant fields may have usages, but their values say nothing about the device.
        if (field.isConstant()) {
            continue;
        }
        const auto fieldIndex = static_cast<std::uint32_t>(index);
        if (!field.isArray) {
            reading.readVariable(field, fieldIndex);
            continue;
        }
        findShown(field, report, values._shown);
        for (const auto& [entry, position] : values._shown) {
            reading.addSelection(field, fieldIndex, position, static_cast<std::uint32_t>(entry));
        }
    }
}

void ReportLayout::findShown(const LayoutField& array, std::span<const std::uint8_t> report,
                             std::vector<ReportValues::Shown>& shown)
{
    shown.clear();
    const std::size_t count = array.valuesWithin(report.size() * 8);
    for (std::size_t entry = 0; entry < count; ++entry) {
        if (const auto position = array.shownBy(array.logicalValue(report, entry))) {
            shown.emplace_back(entry, *position);
        }
    }
    // One entry is the usual case: nothing can be shown twice, and nothing has to be sorted.
    if (shown.size() < 2) {
        return;
    }
    // If several entries show the same usage, the first one counts. Sorting by usage puts them side by side; sorting
    // back gives the order of the entries again. An array can have tens of thousands of entries, so they are not
    // compared pair by pair.
    const auto swapAll = [&shown] {
        for (auto& [first, second] : shown) {
            std::swap(first, second);
        }
    };
    swapAll();
    std::sort(shown.begin(), shown.end());
    const auto end = std::unique(shown.begin(), shown.end(),
                                 [](const auto& left, const auto& right) { return left.first == right.first; });
    shown.erase(end, shown.end());
    swapAll();
    std::sort(shown.begin(), shown.end());
}

} // namespace qrx::hid
