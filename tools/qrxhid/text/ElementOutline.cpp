#include "text/ElementOutline.h"

#include "QrxHIDReport.h"
#include "QrxReportLayout.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <tuple>

// A field becomes a row for each range of its usages, and a row more for a last usage that stands for several values;
// an array is one row. Then rows of the same making with ascending usages, side by side in the report, become one.

namespace qrxhid {

namespace {

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

/// `next` continues the row that `row` is: the next usage in the next bits.
/// `next` continues the row that `row` is: the next usages in the next bits.
bool continues(const FieldOutline& row, const FieldOutline& next)
{
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
        const bool isLast = range + 1 == field.getUsageRangeCount();
        FieldOutline row = makingOf(field);
        row.count = isLast && left > usages ? left : placed;
        row.bitOffset = offset;
        addVariable(rows, row, span, placed);
        offset += row.count * row.sizeBits;
        left -= row.count;
        row.count = usages - placed;
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
            if (_layout.getCollectionParent(i) == collection) {
                const std::uint32_t usage = _layout.getCollectionUsage(i);
                elements.push_back({usage >> kPageShift, usage & kUsageIDMask, std::nullopt, elementsIn(i)});
            }
        }
        std::vector<FieldOutline> rows;
        addFields(rows, collection, [](const QrxReportField&) { return true; });
        for (FieldOutline& row : rows) {
            elements.push_back({0, 0, std::move(row), {}});
        }
        return elements;
    }

    /// The rows of all fields of a report number, collection by collection.
    std::vector<FieldOutline> rowsOfReport(std::uint32_t reportID) const
    {
        std::vector<FieldOutline> rows;
        addFieldsBelow(rows, kQrxNoCollection, reportID);
        return rows;
    }

private:
    template <class Wanted>
    void addFields(std::vector<FieldOutline>& rows, std::size_t collection, Wanted isWanted) const
    {
        for (const QrxReportField& field : _fields) {
            if (field.getCollection() != collection || !isWanted(field)) {
                continue;
            }
            if (field.isArray()) {
                addArray(rows, field);
            } else {
                addVariables(rows, field);
            }
        }
    }

    void addFieldsBelow(std::vector<FieldOutline>& rows, std::size_t collection, std::uint32_t reportID) const
    {
        for (std::size_t i = 0; i < _layout.getCollectionCount(); ++i) {
            if (_layout.getCollectionParent(i) == collection) {
                addFieldsBelow(rows, i, reportID);
            }
        }
        addFields(rows, collection,
                  [reportID](const QrxReportField& field) { return field.getReportID() == reportID; });
    }

    const QrxReportLayout& _layout;
    const std::vector<QrxReportField> _fields;
};

ReportPart partOf(FieldKind kind, const std::vector<FieldOutline>& rows)
{
    ReportPart part{kind, 0, 0};
    for (const FieldOutline& row : rows) {
        if (row.kind == kind) {
            ++part.fieldCount;
            part.fieldBits += row.count * row.sizeBits;
        }
    }
    return part;
}

ReportOutline outlineOf(const QrxHIDReport& report, const LayoutOutline& layout)
{
    const std::vector<FieldOutline> rows = layout.rowsOfReport(report.getReportID());
    ReportOutline outline;
    outline.reportID = report.getReportID();
    for (const FieldKind kind : {FieldKind::input, FieldKind::output, FieldKind::feature}) {
        if (const ReportPart part = partOf(kind, rows); part.fieldCount > 0) {
            outline.parts.push_back(part);
            if (kind == FieldKind::input) {
                outline.inputBits = report.getReportSize();
            }
        }
    }
    return outline;
}

InterfaceOutline outlineOf(const QrxHIDDevice& device, int interfaceNumber)
{
    const QrxReportLayout layout(device, interfaceNumber);
    const LayoutOutline outline(layout);
    InterfaceOutline interface {
        interfaceNumber, outline.elementsIn(kQrxNoCollection), {}
    };
    for (unsigned int i = 0; i < device.getReportCount(); ++i) {
        const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(i);
        if (report->getInterfaceNumber() == interfaceNumber) {
            interface.reports.push_back(outlineOf(*report, outline));
        }
    }
    return interface;
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

std::vector<InterfaceOutline> outlineOf(const QrxHIDDevice& device)
{
    std::set<int> numbers;
    for (unsigned int i = 0; i < device.getElementCount(); ++i) {
        if (const QrxHIDElementPtr element = device.getElementAtIndex(i)) {
            numbers.insert(element->getInterfaceNumber());
        }
    }
    std::vector<InterfaceOutline> interfaces;
    for (const int number : numbers) {
        interfaces.push_back(outlineOf(device, number));
    }
    return interfaces;
}

} // namespace qrxhid
