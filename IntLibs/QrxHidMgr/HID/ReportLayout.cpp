#include "ReportLayout.h"

#include "FieldRules.h"
#include "ReportBits.h"

#include <algorithm>
#include <tuple>

namespace qrx::hid {

namespace {

constexpr std::uint32_t kUsageIDMask = 0xFFFF;

bool isUndefined(std::uint32_t usage)
{
    return (usage & kUsageIDMask) == 0;
}

/// How many values of a variable item have a name. The last usage repeats for the values that are left over, but bits
/// and the end of a range do not repeat: then the rest is padding.
std::uint32_t namedValues(const Field& field)
{
    const std::uint64_t usages = usageCount(field);
    const bool repeatsLast = !isButton(field) && field.usages.back().count() == 1;
    return repeatsLast ? field.count : static_cast<std::uint32_t>(std::min<std::uint64_t>(field.count, usages));
}

void setUsages(LayoutField& field, std::vector<UsageRange> usages)
{
    field.usages = std::move(usages);
    field.firstPositions.reserve(field.usages.size());
    for (const UsageRange& range : field.usages) {
        // The running sum makes the usage of a position a binary search, even where a range declares a whole page.
        field.firstPositions.push_back(field.usageCount);
        field.usageCount += range.count();
    }
}

/// How many of the field's values lie within a report of `bits`. None where a value is wider than the 64 bits that
/// reading supports.
std::size_t valuesWithin(const LayoutField& field, std::size_t bits)
{
    if (field.sizeBits > kWidestValueBits || field.bitOffset >= bits) {
        return 0;
    }
    return std::min<std::size_t>(field.count, (bits - field.bitOffset) / field.sizeBits);
}

std::int64_t logicalValue(const LayoutField& field, std::span<const std::uint8_t> report, std::size_t index)
{
    const std::uint64_t bits = readBits(report, field.valueOffset(index), field.sizeBits);
    return field.isSigned ? signExtended(bits, field.sizeBits) : static_cast<std::int64_t>(bits);
}

/// An unsigned value of 64 bits may look negative here; then it is above any declared maximum.
bool isWithin(const LayoutField& field, std::int64_t value)
{
    if (!field.isSigned && value < 0) {
        return false;
    }
    return value >= field.logicalMinimum && value <= field.logicalMaximum;
}

bool fitsWidth(const LayoutField& field, std::int64_t value)
{
    // A shift by the whole width would be undefined, so the widest field is decided apart.
    if (field.sizeBits >= kWidestValueBits) {
        return field.isSigned || value >= 0;
    }
    if (!field.isSigned) {
        return value >= 0 && static_cast<std::uint64_t>(value) >> field.sizeBits == 0;
    }
    const std::int64_t top = std::int64_t{1} << (field.sizeBits - 1);
    return value >= -top && value < top;
}

/// The position, among an array's usages, of the one that this entry shows; none if it shows nothing.
std::optional<std::uint64_t> shownBy(const LayoutField& array, std::int64_t entry)
{
    // An unsigned entry of 64 bits may look negative here, and is then beyond the usages of any array.
    if (entry < array.logicalMinimum) {
        return std::nullopt;
    }
    // Subtracted as unsigned numbers: the minimum may be negative and the entry large, which would overflow otherwise.
    const std::uint64_t position = static_cast<std::uint64_t>(entry) - static_cast<std::uint64_t>(array.logicalMinimum);
    return position < array.usageCount ? std::optional(position) : std::nullopt;
}

/// A number that an entry of the array may have without showing anything; none if every number that fits shows a usage.
std::optional<std::int64_t> nothingOf(const LayoutField& array)
{
    const auto showsNothing = [&array](std::int64_t entry) {
        const auto position = shownBy(array, entry);
        return fitsWidth(array, entry) && (!position || isUndefined(array.usageAt(*position)));
    };
    // 0 is what devices use; the others are the number after the last one and the one before the first.
    const std::int64_t behind =
        std::max(array.logicalMaximum + 1, array.logicalMinimum + static_cast<std::int64_t>(array.usageCount));
    for (const std::int64_t candidate : {std::int64_t{0}, behind, array.logicalMinimum - 1}) {
        if (showsNothing(candidate)) {
            return candidate;
        }
    }
    return std::nullopt;
}

/// Which value of a variable field is number `index` among those of the usage. Where the field has fewer, `index` is
/// reduced by them, so that the caller goes on counting in the next field.
std::optional<std::size_t> valueOf(const LayoutField& field, std::uint32_t usage, std::uint32_t& index)
{
    for (std::size_t range = 0; range < field.usages.size(); ++range) {
        const UsageRange& usages = field.usages[range];
        if (usage < usages.first || usage > usages.last) {
            continue;
        }
        const std::uint64_t at = field.firstPositions[range] + (usage - usages.first);
        if (at >= field.count) {
            return std::nullopt;
        }
        // The last usage also stands for the values that follow it.
        const std::uint64_t repeats = at + 1 == field.usageCount ? field.count - at : 1;
        if (index < repeats) {
            return static_cast<std::size_t>(at + index);
        }
        index -= static_cast<std::uint32_t>(repeats);
    }
    return std::nullopt;
}

} // namespace

std::uint32_t LayoutField::usageAt(std::uint64_t position) const
{
    const auto after = std::upper_bound(firstPositions.begin(), firstPositions.end(), position);
    const auto range = static_cast<std::size_t>(after - firstPositions.begin()) - 1;
    return static_cast<std::uint32_t>(usages[range].first + (position - firstPositions[range]));
}

std::uint32_t LayoutField::usageOfValue(std::size_t index) const
{
    return usageAt(std::min<std::uint64_t>(index, usageCount - 1));
}

std::optional<std::uint64_t> LayoutField::positionOf(std::uint32_t usage) const
{
    for (std::size_t range = 0; range < usages.size(); ++range) {
        // Linear over the ranges, which are as few as the items of the descriptor; a range may cover a whole page.
        if (usage >= usages[range].first && usage <= usages[range].last) {
            return firstPositions[range] + (usage - usages[range].first);
        }
    }
    return std::nullopt;
}

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

ReportLayout::ReportLayout(const Descriptor& descriptor)
    : _numbersReports(descriptor.usesReportIDs()), _collections(descriptor.collections)
{
    for (const Field& field : descriptor.fields) {
        // The bits of padding were counted when the descriptor was read, so the offsets of the other fields are right
        // without it.
        if (!isPadding(field) && canTravel(field.reportID)) {
            addField(field);
        }
    }
    // Fields of one report become neighbours, so that a report is found once and its fields are a range.
    std::stable_sort(_fields.begin(), _fields.end(), [](const LayoutField& left, const LayoutField& right) {
        return std::tie(left.type, left.reportID, left.bitOffset) <
               std::tie(right.type, right.reportID, right.bitOffset);
    });
    addReports(descriptor);
}

void ReportLayout::addField(const Field& field)
{
    LayoutField result;
    result.type = field.type;
    result.reportID = field.reportID;
    result.bitOffset = field.bitOffset + (field.reportID != 0 ? kReportIDBits : 0);
    result.sizeBits = field.sizeBits;
    result.isArray = !field.isVariable();
    result.count = result.isArray ? field.count : namedValues(field);
    result.flags = field.flags;
    // A single bit is on or off, whatever is declared.
    const bool isBit = field.isVariable() && isButton(field);
    const ValueRange logical = isBit ? ValueRange{0, 1} : logicalRange(field);
    const ValueRange physical = isBit || result.isArray ? logical : physicalRange(field, logical);
    result.isSigned = logical.minimum < 0;
    result.logicalMinimum = logical.minimum;
    result.logicalMaximum = logical.maximum;
    result.physicalMinimum = physical.minimum;
    result.physicalMaximum = physical.maximum;
    if (!result.isArray) {
        result.unit = field.unit;
        result.unitExponent = field.unitExponent;
    }
    setUsages(result, field.usages);
    result.collection = field.collection;
    result.itemOffset = field.offset;
    _fields.push_back(std::move(result));
}

void ReportLayout::addReports(const Descriptor& descriptor)
{
    for (const Report& report : descriptor.reports) {
        if (canTravel(report.id) && report.bits > 0) {
            _reports.push_back({report.type, report.id, report.bits + (report.id != 0 ? kReportIDBits : 0), 0, 0});
        }
    }
    std::sort(_reports.begin(), _reports.end(), [](const DeclaredReport& left, const DeclaredReport& right) {
        return std::tie(left.type, left.id) < std::tie(right.type, right.id);
    });
    // Both lists have the same order and each field belongs to a report, so one walk along both finds where the fields
    // of each begin and end.
    std::size_t field = 0;
    for (DeclaredReport& report : _reports) {
        report.firstField = field;
        while (field < _fields.size() && _fields[field].type == report.type && _fields[field].reportID == report.id) {
            ++field;
        }
        report.endField = field;
    }
}

const ReportLayout::DeclaredReport* ReportLayout::find(ReportType type, std::uint32_t reportID) const
{
    const auto found = std::lower_bound(
        _reports.begin(), _reports.end(), std::tie(type, reportID),
        [](const DeclaredReport& report, const auto& key) { return std::tie(report.type, report.id) < key; });
    return found != _reports.end() && found->type == type && found->id == reportID ? &*found : nullptr;
}

std::span<const LayoutField> ReportLayout::fieldsOf(ReportType type, std::uint32_t reportID) const
{
    const DeclaredReport* report = find(type, reportID);
    return report == nullptr ? std::span<const LayoutField>()
                             : std::span(_fields).subspan(report->firstField, report->endField - report->firstField);
}

std::size_t ReportLayout::reportBits(ReportType type, std::uint32_t reportID) const
{
    const DeclaredReport* report = find(type, reportID);
    return report == nullptr ? 0 : report->bits;
}

// --- reading -----------------------------------------------------------------------------------------------------

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
        const std::size_t count = valuesWithin(field, _bits);
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
        // What is left has the last usage. `position` is one past it.
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
        value.value = logicalValue(field, _report, index);
        value.isSigned = field.isSigned;
        value.isNull = field.hasNullState() && !isWithin(field, value.value);
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
        for (const ReportValues::Shown& shown : values._shown) {
            reading.addSelection(field, fieldIndex, shown.position, shown.entry);
        }
    }
}

void ReportLayout::findShown(const LayoutField& array, std::span<const std::uint8_t> report,
                             std::vector<ReportValues::Shown>& shown)
{
    shown.clear();
    const std::size_t count = valuesWithin(array, report.size() * 8);
    for (std::size_t entry = 0; entry < count; ++entry) {
        if (const auto position = shownBy(array, logicalValue(array, report, entry))) {
            shown.push_back({*position, static_cast<std::uint32_t>(entry)});
        }
    }
    // One entry is the usual case: nothing can be shown twice, and nothing has to be sorted.
    if (shown.size() < 2) {
        return;
    }
    // If several entries show the same usage, the first one counts. Sorting by usage puts them side by side; sorting
    // back gives the order of the entries again. An array can have tens of thousands of entries, so they are not
    // compared pair by pair.
    std::sort(shown.begin(), shown.end(), [](const auto& left, const auto& right) {
        return std::tie(left.position, left.entry) < std::tie(right.position, right.entry);
    });
    const auto end = std::unique(shown.begin(), shown.end(),
                                 [](const auto& left, const auto& right) { return left.position == right.position; });
    shown.erase(end, shown.end());
    std::sort(shown.begin(), shown.end(), [](const auto& left, const auto& right) { return left.entry < right.entry; });
}

// --- writing -----------------------------------------------------------------------------------------------------

namespace {

/// Copies bits from one report to the same place of another.
void copyBits(std::span<const std::uint8_t> from, std::span<std::uint8_t> to, std::size_t offset, std::size_t bits)
{
    while (bits > 0) {
        const auto now = static_cast<std::uint32_t>(std::min<std::size_t>(bits, kWidestValueBits));
        writeBits(to, offset, now, readBits(from, offset, now));
        offset += now;
        bits -= now;
    }
}

/// Writes values into a copy of a report, which is taken over when all of them are in. The copy has the values of
/// `report`, but its padding is 0.
class ReportWriting {
public:
    ReportWriting(std::span<const LayoutField> fields, std::span<const std::uint8_t> report)
        : _fields(fields), _bytes(report.size())
    {
        for (const LayoutField& field : fields) {
            if (!field.isConstant()) {
                // Only bits of fields are copied, so that padding between them is 0 as HID wants it sent, whatever the
                // caller's buffer had there.
                copyBits(report, _bytes, field.bitOffset, std::size_t{field.count} * field.sizeBits);
            }
        }
    }

    EncodeResult add(const UsageValue& wanted)
    {
        std::uint32_t index = wanted.index;
        for (const LayoutField& field : _fields) {
            if (field.isConstant() || field.sizeBits > kWidestValueBits) {
                continue;
            }
            if (field.isArray) {
                // An array shows a usage once, so it has no second value of the same usage.
                if (const auto position = field.positionOf(wanted.usage); position && index == 0) {
                    return select(field, *position, wanted.value);
                }
            } else if (const auto value = valueOf(field, wanted.usage, index)) {
                return set(field, *value, wanted.value);
            }
        }
        return EncodeResult::noSuchUsage;
    }

    /// `failed` becomes the position of the value for which an array has no room.
    EncodeResult writeArrays()
    {
        // Only arrays of which a usage was named are written; the others keep what the report had.
        for (const Selection& selection : _selections) {
            const auto nothing = nothingOf(*selection.array);
            if (selection.entries.size() < selection.array->count && !nothing) {
                return EncodeResult::noRoom;
            }
            for (std::size_t entry = 0; entry < selection.array->count; ++entry) {
                const std::int64_t value = entry < selection.entries.size() ? selection.entries[entry] : *nothing;
                write(*selection.array, entry, value);
            }
        }
        return EncodeResult::done;
    }

    std::span<std::uint8_t> bytes() { return _bytes; }

private:
    struct Selection {
        const LayoutField* array;
        std::vector<std::int64_t> entries;
    };

    EncodeResult set(const LayoutField& field, std::size_t index, std::int64_t value)
    {
        // Where the field has a null state, a value out of range is how a program says "none" (6.2.2.5); it must still
        // fit the bits.
        const bool isNull = field.hasNullState() && !isWithin(field, value);
        if (!fitsWidth(field, value) || (!isWithin(field, value) && !isNull)) {
            return EncodeResult::outOfRange;
        }
        write(field, index, value);
        return EncodeResult::done;
    }

    EncodeResult select(const LayoutField& array, std::uint64_t position, std::int64_t value)
    {
        const std::int64_t entry = array.logicalMinimum + static_cast<std::int64_t>(position);
        if ((value != 0 && value != 1) || !fitsWidth(array, entry)) {
            return EncodeResult::outOfRange;
        }
        Selection& selection = selectionOf(array);
        // Naming a usage with 0 selects the array, so that it is written, and takes the usage out by not listing it.
        const bool isListed =
            std::find(selection.entries.begin(), selection.entries.end(), entry) != selection.entries.end();
        if (value == 0 || isListed) {
            return EncodeResult::done;
        }
        if (selection.entries.size() == array.count) {
            return EncodeResult::noRoom;
        }
        selection.entries.push_back(entry);
        return EncodeResult::done;
    }

    Selection& selectionOf(const LayoutField& array)
    {
        // A linear search: a report has one or two arrays.
        const auto known = std::find_if(_selections.begin(), _selections.end(),
                                        [&array](const Selection& one) { return one.array == &array; });
        return known != _selections.end() ? *known : _selections.emplace_back(Selection{&array, {}});
    }

    void write(const LayoutField& field, std::size_t index, std::int64_t value)
    {
        writeBits(_bytes, field.valueOffset(index), field.sizeBits, static_cast<std::uint64_t>(value));
    }

    std::span<const LayoutField> _fields;
    std::vector<std::uint8_t> _bytes;
    std::vector<Selection> _selections;
};

} // namespace

EncodeResult ReportLayout::encode(ReportType type, std::uint32_t reportID, std::span<const UsageValue> values,
                                  std::span<std::uint8_t> report, std::size_t* failed) const
{
    const DeclaredReport* declared = find(type, reportID);
    if (declared == nullptr) {
        return EncodeResult::noSuchReport;
    }
    if (report.size() * 8 < declared->bits) {
        return EncodeResult::tooShort;
    }
    // The caller's buffer may be longer; bytes beyond the report are not touched.
    report = report.first((declared->bits + 7) / 8);
    ReportWriting writing(fieldsOf(type, reportID), report);
    for (std::size_t at = 0; at < values.size(); ++at) {
        if (const EncodeResult result = writing.add(values[at]); result != EncodeResult::done) {
            if (failed != nullptr) {
                *failed = at;
            }
            return result;
        }
    }
    if (const EncodeResult result = writing.writeArrays(); result != EncodeResult::done) {
        if (failed != nullptr) {
            *failed = values.size();
        }
        return result;
    }
    // Taken over in one step, after everything has succeeded: a failure leaves the caller's report as it was.
    const auto bytes = writing.bytes();
    std::copy(bytes.begin(), bytes.end(), report.begin());
    if (reportID != 0) {
        report.front() = static_cast<std::uint8_t>(reportID);
    }
    return EncodeResult::done;
}

} // namespace qrx::hid
