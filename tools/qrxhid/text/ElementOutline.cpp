#include "text/ElementOutline.h"

#include "QrxReportLayout.h"

#include <algorithm>
#include <numeric>
#include <tuple>

// A field becomes a row for each range of its usages, and a row more for a last usage that stands for several values;
// an array is one row. Then rows of the same making with ascending usages, side by side in the report, become one.

namespace qrxhid {

namespace {

// Bit 0 of a main item's data (HID 1.11, 6.2.2.5).
constexpr std::uint32_t kConstantFlag = 0x001;
constexpr unsigned kPageShift = 16;
constexpr std::uint32_t kUsageIDMask = 0xFFFF;

FieldKind kindOf(QrxReportType type)
{
    switch (type) {
    case QrxReportType::output:
        return FieldKind::output;
    case QrxReportType::feature:
        return FieldKind::feature;
    case QrxReportType::input:
        break;
    }
    return FieldKind::input;
}

/// The field without its usages and values.
FieldOutline makingOf(const QrxReportField& field)
{
    FieldOutline row;
    row.kind = kindOf(field.getReportType());
    row.reportID = field.getReportID();
    row.isArray = field.isArray();
    row.sizeBits = field.getSizeBits();
    row.minimum = field.getLogicalMinimum();
    row.maximum = field.getLogicalMaximum();
    row.physicalMinimum = field.getPhysicalMinimum();
    row.physicalMaximum = field.getPhysicalMaximum();
    row.unit = field.getUnit();
    row.unitExponent = field.getUnitExponent();
    row.flags = field.getFlags();
    return row;
}

bool isOfSameMaking(const FieldOutline& left, const FieldOutline& right)
{
    return left.kind == right.kind && left.reportID == right.reportID && left.sizeBits == right.sizeBits &&
           left.minimum == right.minimum && left.maximum == right.maximum &&
           left.physicalMinimum == right.physicalMinimum && left.physicalMaximum == right.physicalMaximum &&
           left.unit == right.unit && left.unitExponent == right.unitExponent && left.flags == right.flags;
}

/// `next` continues the row that `row` is: the next usages in the next bits.
bool continues(const FieldOutline& row, const FieldOutline& next)
{
    // Arrays are one row each, and a usage that stands for several values ends its row.
    if (row.isArray || next.isArray || row.usages.size() != 1 || next.usages.size() != 1 ||
        row.count != row.usageCount() || next.count != next.usageCount() || !isOfSameMaking(row, next)) {
        return false;
    }
    const bool isNextUsage =
        next.usages[0].page == row.usages[0].page && next.usages[0].first == row.usages[0].last + 1;
    const bool isBeside = row.bitOffset && next.bitOffset ? *next.bitOffset == *row.bitOffset + row.count * row.sizeBits
                                                          : !row.bitOffset && !next.bitOffset;
    return isNextUsage && isBeside;
}

void addRow(std::vector<FieldOutline>& rows, FieldOutline row)
{
    if (!rows.empty() && continues(rows.back(), row)) {
        // So sixteen buttons that a descriptor declares one by one read like a range of sixteen.
        rows.back().usages[0].last = row.usages[0].last;
        rows.back().count += row.count;
    } else {
        rows.push_back(std::move(row));
    }
}

UsageSpan spanOf(const QrxReportField& field, std::size_t range)
{
    const std::uint32_t first = field.getFirstUsage(range);
    const std::uint32_t last = field.getLastUsage(range);
    return {first >> kPageShift, first & kUsageIDMask, (first & kUsageIDMask) + (last - first)};
}

void addArray(std::vector<FieldOutline>& rows, const QrxReportField& field)
{
    FieldOutline row = makingOf(field);
    row.count = field.getCount();
    row.bitOffset = field.getBitOffset();
    for (std::size_t range = 0; range < field.getUsageRangeCount(); ++range) {
        const UsageSpan span = spanOf(field, range);
        // Usages that a descriptor lists one by one become ranges where they follow each other.
        if (!row.usages.empty() && row.usages.back().page == span.page && row.usages.back().last + 1 == span.first) {
            row.usages.back().last = span.last;
        } else {
            row.usages.push_back(span);
        }
    }
    addRow(rows, std::move(row));
}

/// A row for the first usages of the span, which it loses.
void addVariable(std::vector<FieldOutline>& rows, FieldOutline row, UsageSpan& span, std::uint64_t usages)
{
    if (usages == 0) {
        return;
    }
    const auto next = static_cast<std::uint32_t>(span.first + usages);
    row.usages = {{span.page, span.first, next - 1}};
    span.first = next;
    addRow(rows, std::move(row));
}

void addVariables(std::vector<FieldOutline>& rows, const QrxReportField& field)
{
    std::size_t offset = field.getBitOffset();
    std::uint64_t left = field.getCount();
    for (std::size_t range = 0; range < field.getUsageRangeCount(); ++range) {
        UsageSpan span = spanOf(field, range);
        const std::uint64_t usages = std::uint64_t{span.last} - span.first + 1;
        const std::uint64_t placed = std::min(left, usages);
        // The last usage stands for all values that are left over (6.2.2.8), the ranges before it for one value each.
        const bool isLast = range + 1 == field.getUsageRangeCount();
        FieldOutline row = makingOf(field);
        row.count = isLast && left > usages ? left : placed;
        row.bitOffset = offset;
        addVariable(rows, row, span, placed);
        offset += row.count * row.sizeBits;
        left -= row.count;
        row.count = usages - placed;
        // More usages than values: those that are left over have no place in the report, and the platform lists them
        // all the same.
        row.bitOffset = std::nullopt;
        addVariable(rows, row, span, usages - placed);
    }
}

/// The fields in the order in which the platform lists elements: those of single bits and arrays before values, input
/// before output before feature, then as they are declared.
std::vector<QrxReportField> fieldsInElementOrder(const QrxReportLayout& layout)
{
    std::vector<QrxReportField> fields;
    for (std::size_t i = 0; i < layout.getFieldCount(); ++i) {
        fields.push_back(layout.getField(i));
    }
    std::ranges::stable_sort(fields, {}, [](const QrxReportField& field) {
        const bool isButton = field.isArray() || field.getSizeBits() == 1;
        return std::tuple(!isButton, field.getReportType(), field.getDescriptorOffset());
    });
    return fields;
}

class LayoutOutline {
public:
    explicit LayoutOutline(const QrxReportLayout& layout) : _layout(layout), _fields(fieldsInElementOrder(layout)) {}

    /// What stands directly in a collection, or outside of all: collections first.
    std::vector<ElementOutline> elementsIn(std::size_t collection) const
    {
        std::vector<ElementOutline> elements;
        for (std::size_t i = 0; i < _layout.getCollectionCount(); ++i) {
            // Collections are as deep as the parser lets them be, so this ends.
            if (_layout.getCollectionParent(i) == collection) {
                const std::uint32_t usage = _layout.getCollectionUsage(i);
                elements.push_back({usage >> kPageShift, usage & kUsageIDMask, std::nullopt, elementsIn(i)});
            }
        }
        std::vector<FieldOutline> rows;
        addFields(rows, collection);
        for (FieldOutline& row : rows) {
            elements.push_back({0, 0, std::move(row), {}});
        }
        return elements;
    }

private:
    void addFields(std::vector<FieldOutline>& rows, std::size_t collection) const
    {
        for (const QrxReportField& field : _fields) {
            if (field.getCollection() != collection) {
                continue;
            }
            if (field.isArray()) {
                addArray(rows, field);
            } else {
                addVariables(rows, field);
            }
        }
    }

    const QrxReportLayout& _layout;
    const std::vector<QrxReportField> _fields;
};

// Those that the descriptor declares. What the platform publishes beside them (a report of 1 byte of every type, where
// reports are numbered) is for programs that allocate buffers.
std::vector<ReportOutline> reportsOf(const QrxReportLayout& layout)
{
    std::vector<ReportOutline> reports;
    for (std::size_t i = 0; i < layout.getReportCount(); ++i) {
        const QrxReportType type = layout.getReportType(i);
        const std::uint32_t reportID = layout.getReportID(i);
        reports.push_back({kindOf(type), reportID, layout.getReportSizeBits(type, reportID)});
    }
    return reports;
}

} // namespace

const char* fieldKindName(FieldKind kind)
{
    switch (kind) {
    case FieldKind::output:
        return "output";
    case FieldKind::feature:
        return "feature";
    default:
        return "input";
    }
}

std::uint64_t FieldOutline::usageCount() const
{
    return std::accumulate(usages.begin(), usages.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const UsageSpan& span) { return sum + span.last - span.first + 1; });
}

bool FieldOutline::isConstant() const
{
    return (flags & kConstantFlag) != 0;
}

std::size_t ReportOutline::bytes() const
{
    constexpr std::size_t kBitsPerByte = 8;
    return (bits + kBitsPerByte - 1) / kBitsPerByte;
}

std::size_t InterfaceOutline::longestReport(FieldKind kind) const
{
    std::size_t longest = 0;
    for (const ReportOutline& report : reports) {
        longest = report.kind == kind ? std::max(longest, report.bytes()) : longest;
    }
    return longest;
}

InterfaceOutline outlineOf(const QrxReportLayout& layout, int interfaceNumber)
{
    return {interfaceNumber, LayoutOutline(layout).elementsIn(kQrxNoCollection), reportsOf(layout)};
}

} // namespace qrxhid
