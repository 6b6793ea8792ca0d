#include "ReportLayout.h"

#include "FieldRules.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace qrx::hid {

namespace {

/// A sort key, and the element's place before sorting, which keeps equal keys in their order. Pairs are sorted in place
/// of the elements because std::sort for them is instantiated once in the library.
using KeyAndPlace = std::pair<std::uint64_t, std::size_t>;

std::uint64_t keyOf(ReportType type, std::uint32_t reportID)
{
    return std::uint64_t{static_cast<std::uint32_t>(type)} << 32 | reportID;
}

/// How many values of a variable item have a name. The last usage repeats for the values that are left over, but bits
/// and the end of a range do not repeat: then the rest is padding.
std::uint32_t namedValues(const Field& field)
{
    const std::uint64_t usages = usageCount(field);
    const bool repeatsLast = !isButton(field) && field.usages.back().count() == 1;
    return repeatsLast ? field.count : static_cast<std::uint32_t>(std::min<std::uint64_t>(field.count, usages));
}

void setUsages(LayoutField& field, const std::vector<UsageRange>& usages)
{
    field.usages = usages;
    field.firstPositions.reserve(usages.size());
    for (const UsageRange& range : usages) {
        // The running sum makes the usage of a position a binary search, even where a range declares a whole page.
        field.firstPositions.push_back(field.usageCount);
        field.usageCount += range.count();
    }
}

/// Fills a new `field` with what the item declares. The item is no padding.
void setLayoutField(LayoutField& field, const Field& item)
{
    field.type = item.type;
    field.reportID = item.reportID;
    field.bitOffset = item.bitOffset + (item.reportID != 0 ? kReportIDBits : 0);
    field.sizeBits = item.sizeBits;
    field.isArray = !item.isVariable();
    field.count = field.isArray ? item.count : namedValues(item);
    field.flags = item.flags;
    // A single bit is on or off, whatever is declared.
    const bool isBit = item.isVariable() && isButton(item);
    const ValueRange logical = isBit ? ValueRange{0, 1} : logicalRange(item);
    const ValueRange physical = isBit || field.isArray ? logical : physicalRange(item, logical);
    field.isSigned = logical.minimum < 0;
    field.logicalMinimum = logical.minimum;
    field.logicalMaximum = logical.maximum;
    field.physicalMinimum = physical.minimum;
    field.physicalMaximum = physical.maximum;
    if (!field.isArray) {
        field.unit = item.unit;
        field.unitExponent = item.unitExponent;
    }
    setUsages(field, item.usages);
    field.collection = item.collection;
    field.itemOffset = item.offset;
}

} // namespace

ReportLayout::ReportLayout(const Descriptor& descriptor)
    : _numbersReports(descriptor.usesReportIDs()), _collections(descriptor.collections)
{
    std::vector<KeyAndPlace> order;
    for (std::size_t place = 0; place < descriptor.fields.size(); ++place) {
        const Field& field = descriptor.fields[place];
        // The bits of padding were counted when the descriptor was read, so the offsets of the other fields are right
        // without it.
        if (!isPadding(field) && canTravel(field.reportID)) {
            order.emplace_back(keyOf(field.type, field.reportID), place);
        }
    }
    // Fields of one report become neighbours, so that a report is found once and its fields are a range. Among
    // themselves they stay as the descriptor has them, which is the order of their bits.
    std::sort(order.begin(), order.end());
    _fields = std::vector<LayoutField>(order.size());
    for (std::size_t index = 0; index < order.size(); ++index) {
        setLayoutField(_fields[index], descriptor.fields[order[index].second]);
    }
    addReports(descriptor);
}

void ReportLayout::addReports(const Descriptor& descriptor)
{
    std::vector<KeyAndPlace> order;
    for (std::size_t place = 0; place < descriptor.reports.size(); ++place) {
        const Report& report = descriptor.reports[place];
        if (canTravel(report.id) && report.bits > 0) {
            order.emplace_back(keyOf(report.type, report.id), place);
        }
    }
    std::sort(order.begin(), order.end());
    for (const auto& [key, place] : order) {
        const Report& report = descriptor.reports[place];
        _reports.push_back({report.type, report.id, report.bits + (report.id != 0 ? kReportIDBits : 0), 0, 0});
    }
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
        _reports.begin(), _reports.end(), keyOf(type, reportID),
        [](const DeclaredReport& report, std::uint64_t key) { return keyOf(report.type, report.id) < key; });
    return found != _reports.end() && found->type == type && found->id == reportID ? &*found : nullptr;
}

std::span<const LayoutField> ReportLayout::fieldsOf(ReportType type, std::uint32_t reportID) const
{
    const DeclaredReport* report = find(type, reportID);
    return report == nullptr ? std::span<const LayoutField>()
                             : std::span(_fields).subspan(report->firstField, report->endField - report->firstField);
}

const LayoutField* ReportLayout::fieldOfItem(std::size_t itemOffset) const
{
    const auto found = std::find_if(_fields.begin(), _fields.end(),
                                    [itemOffset](const LayoutField& field) { return field.itemOffset == itemOffset; });
    return found != _fields.end() ? &*found : nullptr;
}

std::size_t ReportLayout::reportBits(ReportType type, std::uint32_t reportID) const
{
    const DeclaredReport* report = find(type, reportID);
    return report == nullptr ? 0 : report->bits;
}

std::shared_ptr<const ReportLayout> layoutOf(const Descriptor& descriptor)
{
    return std::make_shared<const ReportLayout>(descriptor);
}

} // namespace qrx::hid
