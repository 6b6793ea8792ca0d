#include "ReportLayout.h"

#include "FieldRules.h"

#include <algorithm>
#include <tuple>

namespace qrx::hid {

ReportLayout::ReportLayout(const Descriptor& descriptor)
    : _numbersReports(descriptor.usesReportIDs()), _collections(descriptor.collections)
{
    for (const Field& field : descriptor.fields) {
        // The bits of padding were counted when the descriptor was read, so the offsets of the other fields are right
        // without it.
        if (!isPadding(field) && canTravel(field.reportID)) {
            _fields.push_back(makeLayoutField(field));
        }
    }
    // Fields of one report become neighbours, so that a report is found once and its fields are a range.
    std::stable_sort(_fields.begin(), _fields.end(), [](const LayoutField& left, const LayoutField& right) {
        return std::tie(left.type, left.reportID, left.bitOffset) <
               std::tie(right.type, right.reportID, right.bitOffset);
    });
    addReports(descriptor);
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

} // namespace qrx::hid
