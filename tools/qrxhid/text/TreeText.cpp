#include "text/TreeText.h"

#include "text/DeviceText.h"
#include "text/ElementOutline.h"
#include "text/FieldText.h"
#include "text/TextFormat.h"
#include "text/UsageNames.h"

#include <algorithm>
#include <optional>
#include <tuple>

namespace qrxhid {

namespace {

constexpr std::size_t kIndent = 2;
constexpr std::size_t kBitsPerByte = 8;

/// "1.10" for 0x0110.
std::string releaseText(std::uint32_t release)
{
    const std::string digits = hexText(release, 4).substr(2);
    const std::string major = digits.substr(0, digits.size() - 2);
    return (major.front() == '0' ? major.substr(1) : major) + "." + digits.substr(digits.size() - 2);
}

std::string reportName(std::uint32_t reportID)
{
    return reportID == 0 ? "report without number" : "report " + std::to_string(reportID);
}

std::string partText(const ReportOutline& report, const ReportPart& part)
{
    std::string text = std::string(fieldKindName(part.kind)) + " ";
    if (part.kind == FieldKind::input && report.inputBits > 0) {
        text += countText((report.inputBits + kBitsPerByte - 1) / kBitsPerByte, "byte") + ", ";
    }
    return text + countText(part.fieldBits, "bit") + " in " + countText(part.fieldCount, "field");
}

void writeReport(std::ostream& out, const ReportOutline& report)
{
    out << "    " << reportName(report.reportID) << ": ";
    const char* separator = "";
    for (const ReportPart& part : report.parts) {
        out << separator << partText(report, part);
        separator = "; ";
    }
    out << "\n";
}

/// By report, kind and place; collections stay in front.
std::vector<ElementOutline> inReportOrder(std::vector<ElementOutline> elements)
{
    const auto place = [](const ElementOutline& element) {
        return element.field ? std::tuple(1, element.field->reportID, element.field->kind, element.field->bitOffset)
                             : std::tuple(0, std::uint32_t{0}, FieldKind::input, std::optional<std::size_t>());
    };
    std::ranges::stable_sort(elements, {}, place);
    return elements;
}

void writeElements(std::ostream& out, const std::vector<ElementOutline>& elements, std::size_t indent)
{
    for (const ElementOutline& element : inReportOrder(elements)) {
        out << std::string(indent, ' ');
        if (element.field) {
            out << fieldText(*element.field) << "\n";
        } else {
            out << "collection " << usageText(element.usagePage, element.usage) << "\n";
            writeElements(out, element.elements, indent + kIndent);
        }
    }
}

void writeInterface(std::ostream& out, const QrxHIDDevice& device, const InterfaceOutline& interface)
{
    out << "  interface " << interface.number << ": " << interfacePurpose(device, interface.number)
        << "; longest reports in bytes: input " << device.getInputReportSize(interface.number) << ", output "
        << device.getOutputReportSize(interface.number) << ", feature " << device.getFeatureReportSize(interface.number)
        << "\n";
    writeElements(out, interface.elements, 2 * kIndent);
    for (const ReportOutline& report : interface.reports) {
        writeReport(out, report);
    }
}

nlohmann::ordered_json usagesJson(const FieldOutline& field)
{
    auto spans = nlohmann::ordered_json::array();
    for (const UsageSpan& span : field.usages) {
        spans.push_back({{"usagePage", span.page},
                         {"first", span.first},
                         {"last", span.last},
                         {"name", usageRangeText(span.page, span.first, span.last)}});
    }
    return spans;
}

nlohmann::ordered_json fieldJson(const FieldOutline& field)
{
    return {{"type", fieldKindName(field.kind)},
            {"reportID", field.reportID},
            {"bitOffset", field.bitOffset ? nlohmann::ordered_json(*field.bitOffset) : nullptr},
            {"sizeBits", field.sizeBits},
            {"count", field.count},
            {"isArray", field.isArray},
            {"usages", usagesJson(field)},
            {"logicalMinimum", field.minimum},
            {"logicalMaximum", field.maximum},
            {"physicalMinimum", field.physicalMinimum},
            {"physicalMaximum", field.physicalMaximum},
            {"unit", field.unit},
            {"unitExponent", field.unitExponent},
            {"flags", field.flags},
            {"flagWords", flagText(field)}};
}

nlohmann::ordered_json elementsJson(const std::vector<ElementOutline>& elements)
{
    auto list = nlohmann::ordered_json::array();
    for (const ElementOutline& element : elements) {
        if (element.field) {
            list.push_back({{"field", fieldJson(*element.field)}});
        } else {
            list.push_back({{"collection",
                             {{"usagePage", element.usagePage},
                              {"usage", element.usage},
                              {"name", usageText(element.usagePage, element.usage)},
                              {"elements", elementsJson(element.elements)}}}});
        }
    }
    return list;
}

nlohmann::ordered_json reportsJson(const std::vector<ReportOutline>& reports)
{
    auto list = nlohmann::ordered_json::array();
    for (const ReportOutline& report : reports) {
        nlohmann::ordered_json json = {{"reportID", report.reportID}, {"inputBits", report.inputBits}};
        for (const ReportPart& part : report.parts) {
            json[fieldKindName(part.kind)] = {{"fields", part.fieldCount}, {"fieldBits", part.fieldBits}};
        }
        list.push_back(json);
    }
    return list;
}

} // namespace

void writeTree(std::ostream& out, const QrxHIDDevice& device)
{
    out << deviceTitle(device) << ", release " << releaseText(device.getReleaseNumber()) << "\n";
    for (const InterfaceOutline& interface : outlineOf(device)) {
        writeInterface(out, device, interface);
    }
}

nlohmann::ordered_json treeJson(const QrxHIDDevice& device)
{
    nlohmann::ordered_json json = deviceJson(device);
    json["interfaces"] = nlohmann::ordered_json::array();
    for (const InterfaceOutline& interface : outlineOf(device)) {
        json["interfaces"].push_back({{"number", interface.number},
                                      {"primaryUsagePage", device.getPrimaryUsagePage(interface.number)},
                                      {"primaryUsage", device.getPrimaryUsage(interface.number)},
                                      {"purpose", interfacePurpose(device, interface.number)},
                                      {"inputReportSize", device.getInputReportSize(interface.number)},
                                      {"outputReportSize", device.getOutputReportSize(interface.number)},
                                      {"featureReportSize", device.getFeatureReportSize(interface.number)},
                                      {"elements", elementsJson(interface.elements)},
                                      {"reports", reportsJson(interface.reports)}});
    }
    return json;
}

} // namespace qrxhid
