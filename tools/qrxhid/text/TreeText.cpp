#include "text/TreeText.h"

#include "text/DeviceText.h"
#include "text/ElementOutline.h"
#include "text/FieldText.h"
#include "text/Json.h"
#include "text/TextFormat.h"
#include "text/UsageNames.h"

#include <algorithm>
#include <optional>
#include <tuple>

namespace qrxhid {

namespace {

constexpr std::size_t kGap = 2;
// A range of 16 bits fits, and one of 32 bits goes to a line of its own: it would take the room of all names.
constexpr std::size_t kWidestRange = 15;
constexpr std::size_t kBranchWidth = 3;
// What stands deep in a tree gets so much room at least, beyond the edge.
constexpr std::size_t kLeastRoom = 20;

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

/// The columns of an interface's fields: each as wide as what stands in it, and the names as far as the others let
/// them.
class Columns {
public:
    Columns() = default;
    /// `depth` is how many branches stand in front of the elements.
    Columns(const std::vector<ElementOutline>& elements, std::size_t depth, std::size_t terminalWidth)
    {
        measure(elements, depth, 0);
        const std::size_t others = _report + _place + _size + _range + 3 * kGap;
        const std::size_t room = terminalWidth - std::min(terminalWidth, others);
        // Names that are too long get a line of their own and do not push the columns to the right.
        std::erase_if(_names, [room](std::size_t name) { return name > room; });
        _begin = _names.empty() ? room : std::ranges::max(_names);
    }

    /// Where those behind the names begin.
    std::size_t begin() const { return _begin; }

    /// Report, place and size, and the gap before the range.
    std::string text(const FieldWords& words) const
    {
        return padded(words.report, _report + kGap) + padded(words.place, _place + kGap) +
               padded(words.size, _size + kGap);
    }

private:
    void measure(const std::vector<ElementOutline>& elements, std::size_t depth, std::uint32_t page)
    {
        for (const ElementOutline& element : elements) {
            if (element.field) {
                // The page of the collection around it is not repeated in each name.
                const FieldWords words = fieldWords(*element.field, page);
                _names.push_back(depth * kBranchWidth + widthOf(words.usages) + kGap);
                _report = std::max(_report, words.report.size());
                _place = std::max(_place, words.place.size());
                _size = std::max(_size, words.size.size());
                _range = std::min(std::max(_range, words.range.size()), kWidestRange);
            }
            // One width for the whole interface, so that all of its columns stand below each other.
            measure(element.elements, depth + 1, element.usagePage);
        }
    }

    std::vector<std::size_t> _names;
    std::size_t _begin = 0;
    std::size_t _report = 0;
    std::size_t _place = 0;
    std::size_t _size = 0;
    std::size_t _range = 0;
};

/// Writes lines as the branches of a tree.
class Branches {
public:
    Branches(std::ostream& out, const Terminal& terminal) : _out(out), _terminal(terminal) {}

    /// Until the next call fields stand in these columns.
    void setColumns(Columns columns) { _columns = std::move(columns); }

    /// What is written until the matching end() hangs below a line with this text. `isLast` of its siblings.
    void begin(const std::string& text, bool isLast)
    {
        leaf(text, isLast);
        // The line of a parent goes down past its children only if siblings follow.
        _stems.push_back(stemBelow(isLast));
    }
    void end() { _stems.pop_back(); }

    void leaf(const std::string& text, bool isLast);
    void field(const FieldWords& words, bool isLast);

private:
    static std::string branch(bool isLast) { return isLast ? "└─ " : "├─ "; }
    static std::string stemBelow(bool isLast) { return isLast ? "   " : "│  "; }

    std::string stems() const
    {
        std::string text;
        for (const std::string& stem : _stems) {
            text += stem;
        }
        return text;
    }

    std::size_t roomAfter(std::size_t width) const
    {
        return std::max(_terminal.width - std::min(_terminal.width, width), kLeastRoom);
    }

    void put(const std::string& stem, const std::string& text)
    {
        _out << _terminal.painted(stem, Terminal::Look::faint) << text << "\n";
    }

    std::ostream& _out;
    const Terminal& _terminal;
    Columns _columns;
    std::vector<std::string> _stems;
};

void Branches::leaf(const std::string& text, bool isLast)
{
    const std::string stem = stems();
    std::string front = branch(isLast);
    for (const std::string& line : wrapped(text, roomAfter(widthOf(stem) + widthOf(front)))) {
        put(stem + front, line);
        front = stemBelow(isLast);
    }
}

void Branches::field(const FieldWords& words, bool isLast)
{
    std::string columns = _columns.text(words);
    // Details go behind the range where there is room, and else to a line of their own.
    std::string below = words.details;
    if (words.range.size() > kWidestRange) {
        below = words.range + (below.empty() ? "" : ", ") + below;
    } else if (_columns.begin() + widthOf(columns) + words.range.size() + kGap + widthOf(below) <= _terminal.width) {
        columns += words.range + (below.empty() ? "" : std::string(kGap, ' ')) + below;
        below.clear();
    } else {
        columns += words.range;
    }
    const std::string stem = stems() + stemBelow(isLast);
    const std::size_t begin = widthOf(stem);
    if (begin + widthOf(words.usages) + kGap <= _columns.begin()) {
        put(stems() + branch(isLast), padded(words.usages, _columns.begin() - begin) + columns);
    } else {
        leaf(words.usages, isLast);
        put(stem, std::string(_columns.begin() - std::min(_columns.begin(), begin), ' ') + columns);
    }
    for (const std::string& line :
         below.empty() ? std::vector<std::string>() : wrapped(below, roomAfter(begin + kGap))) {
        put(stem, std::string(kGap, ' ') + line);
    }
}

void writeElements(Branches& branches, const std::vector<ElementOutline>& elements, std::uint32_t page)
{
    // The platform's order groups by kind of element; people look for bytes.
    const std::vector<ElementOutline> ordered = inReportOrder(elements);
    for (std::size_t i = 0; i < ordered.size(); ++i) {
        const ElementOutline& element = ordered[i];
        const bool isLast = i + 1 == ordered.size();
        if (element.field) {
            branches.field(fieldWords(*element.field, page), isLast);
            continue;
        }
        branches.begin("collection " + usageText(element.usagePage, element.usage), isLast);
        writeElements(branches, element.elements, element.usagePage);
        branches.end();
    }
}

void writeInterface(Branches& branches, const Terminal& terminal, const QrxHIDDevice& device,
                    const InterfaceOutline& interface, bool isLast)
{
    // No page: what stands outside of all collections says its own.
    constexpr std::uint32_t kNoPage = 0;
    constexpr std::size_t kDepth = 2;
    branches.setColumns(Columns(interface.elements, kDepth, terminal.width));
    branches.begin("interface " + std::to_string(interface.number) + ": " + interfacePurpose(device, interface.number),
                   isLast);
    for (std::size_t i = 0; i < interface.reports.size(); ++i) {
        branches.leaf(reportText(interface.reports[i]),
                      interface.elements.empty() && i + 1 == interface.reports.size());
    }
    writeElements(branches, interface.elements, kNoPage);
    branches.end();
}

std::vector<InterfaceOutline> outlinesOf(const QrxHIDDevice& device, std::span<const int> interfaces)
{
    std::vector<InterfaceOutline> outlines;
    for (const int number : interfaces) {
        outlines.push_back(outlineOf(QrxReportLayout(device, number), number));
    }
    return outlines;
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
        list.push_back({{"type", fieldKindName(report.kind)},
                        {"reportID", report.reportID},
                        {"bits", report.bits},
                        {"bytes", report.bytes()}});
    }
    return list;
}

} // namespace

void writeTree(std::ostream& out, const QrxHIDDevice& device, std::span<const int> interfaces, const Terminal& terminal)
{
    out << terminal.painted(deviceTitle(device), Terminal::Look::title) << ", release "
        << releaseText(device.getReleaseNumber()) << "\n";
    Branches branches(out, terminal);
    const std::vector<InterfaceOutline> outlines = outlinesOf(device, interfaces);
    for (std::size_t i = 0; i < outlines.size(); ++i) {
        writeInterface(branches, terminal, device, outlines[i], i + 1 == outlines.size());
    }
}

nlohmann::ordered_json treeJson(const QrxHIDDevice& device, std::span<const int> interfaces)
{
    nlohmann::ordered_json json = deviceJson(device);
    json["interfaces"] = nlohmann::ordered_json::array();
    for (const InterfaceOutline& interface : outlinesOf(device, interfaces)) {
        json["interfaces"].push_back({{"number", interface.number},
                                      {"primaryUsagePage", device.getPrimaryUsagePage(interface.number)},
                                      {"primaryUsage", device.getPrimaryUsage(interface.number)},
                                      {"purpose", interfacePurpose(device, interface.number)},
                                      {"inputReportSize", interface.longestReport(FieldKind::input)},
                                      {"outputReportSize", interface.longestReport(FieldKind::output)},
                                      {"featureReportSize", interface.longestReport(FieldKind::feature)},
                                      {"elements", elementsJson(interface.elements)},
                                      {"reports", reportsJson(interface.reports)}});
    }
    return json;
}

} // namespace qrxhid
