// From values by usage to the bytes of a report. All or nothing: the values are written into a copy, which replaces the
// caller's bytes when all of them were possible.

#include "FieldRules.h"
#include "ReportBits.h"
#include "ReportLayout.h"

#include <algorithm>

namespace qrx::hid {

namespace {

/// A number that an entry of the array may have without showing anything; none if every number that fits shows a usage.
std::optional<std::int64_t> nothingOf(const LayoutField& array)
{
    const auto showsNothing = [&array](std::int64_t entry) {
        const auto position = array.shownBy(entry);
        return array.fitsWidth(entry) && (!position || isUndefined(array.usageAt(*position)));
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
        const bool isNull = field.hasNullState() && !field.isWithin(value);
        if (!field.fitsWidth(value) || (!field.isWithin(value) && !isNull)) {
            return EncodeResult::outOfRange;
        }
        write(field, index, value);
        return EncodeResult::done;
    }

    EncodeResult select(const LayoutField& array, std::uint64_t position, std::int64_t value)
    {
        const std::int64_t entry = array.logicalMinimum + static_cast<std::int64_t>(position);
        if ((value != 0 && value != 1) || !array.fitsWidth(entry)) {
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
