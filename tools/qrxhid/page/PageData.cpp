#include "page/PageData.h"

#include "descriptor/ItemScope.h"
#include "descriptor/ItemText.h"
#include "page/EventData.h"
#include "text/FieldText.h"
#include "text/Notice.h"
#include "text/TextFormat.h"
#include "text/UnitText.h"
#include "text/UsageNames.h"

#include "QrxReportLayout.h"
#include "text/Json.h"

#include <algorithm>
#include <set>

namespace qrxhid {

namespace {

using Json = nlohmann::ordered_json;

constexpr unsigned kPageShift = 16;
constexpr std::uint32_t kUsageIDMask = 0xFFFF;

// More than any real device has; arrays over many whole pages of usages would make a page of megabytes. A usage that is
// left out is shown by its number.
constexpr std::uint64_t kMostNames = 8192;

std::string nameOf(std::uint32_t usage)
{
    return usageName(usage >> kPageShift, usage & kUsageIDMask);
}

std::string fullNameOf(std::uint32_t usage)
{
    return usageText(usage >> kPageShift, usage & kUsageIDMask);
}

/// Numbers of JavaScript are exact up to 53 bits; others travel as texts.
Json exactNumber(std::int64_t number)
{
    constexpr std::int64_t kLargestExact = (std::int64_t{1} << 53) - 1;
    const bool isExact = number >= -kLargestExact && number <= kLargestExact;
    return isExact ? Json(number) : Json(std::to_string(number));
}

/// For each usage its number, what a person calls it, and the same with its page.
Json namesJson(const QrxReportLayout& layout)
{
    // Names travel with the page, since its scripts have no table of usages: only those that this device has.
    std::set<std::uint32_t> usages;
    std::uint64_t left = kMostNames;
    for (std::size_t i = 0; i < layout.getFieldCount(); ++i) {
        const QrxReportField field = layout.getField(i);
        const std::uint64_t shown = field.isArray() ? field.getUsageCount() : field.getCount();
        const std::uint64_t count = std::min({left, shown, field.getUsageCount()});
        for (std::uint64_t position = 0; position < count; ++position) {
            usages.insert(field.getUsage(position));
        }
        left -= count;
    }
    Json list = Json::array();
    for (const std::uint32_t usage : usages) {
        list.push_back(Json::array({usage, nameOf(usage), fullNameOf(usage)}));
    }
    return list;
}

Json rowJson(const FieldOutline& field, std::uint32_t pageAround)
{
    const FieldWords words = fieldWords(field, pageAround);
    Json json = {{"name", words.usages},
                 {"report", words.report},
                 {"place", words.place},
                 {"size", words.size},
                 {"range", words.range},
                 {"details", words.details},
                 {"type", fieldKindName(field.kind)},
                 {"id", field.reportID}};
    // Without a place there is nothing for the page to highlight.
    if (field.bitOffset) {
        json["bit"] = *field.bitOffset;
        json["bits"] = field.count * field.sizeBits;
    }
    return json;
}

Json treeJson(const std::vector<ElementOutline>& elements, std::uint32_t pageAround)
{
    Json list = Json::array();
    for (const ElementOutline& element : elements) {
        if (element.field) {
            list.push_back(rowJson(*element.field, pageAround));
        } else {
            list.push_back({{"name", usageText(element.usagePage, element.usage)},
                            {"elements", treeJson(element.elements, element.usagePage)}});
        }
    }
    return list;
}

Json reportsJson(const InterfaceOutline& outline)
{
    Json list = Json::array();
    for (const ReportOutline& report : outline.reports) {
        list.push_back({{"type", fieldKindName(report.kind)},
                        {"id", report.reportID},
                        {"bits", report.bits},
                        {"bytes", report.bytes()},
                        {"text", reportText(report)}});
    }
    return list;
}

/// Both enumerations have the same order.
const char* typeName(QrxReportType type)
{
    return fieldKindName(static_cast<FieldKind>(type));
}

/// How a logical value becomes a measure: times the first number, plus the second one. Nothing where the value is one.
Json scaleJson(const QrxReportField& field)
{
    const bool isPlain = field.getPhysicalMinimum() == field.getLogicalMinimum() &&
                         field.getPhysicalMaximum() == field.getLogicalMaximum() && field.getUnitExponent() == 0;
    // The measure is linear in the value (6.2.2.7), so two points describe it.
    const double base = field.getPhysicalValue(0);
    return isPlain || field.isArray() ? Json() : Json({field.getPhysicalValue(1) - base, base});
}

Json fieldJson(const QrxReportField& field)
{
    // Ranges and not single usages: a range may cover a whole page. The page's scripts read values by them as the
    // library does.
    Json usages = Json::array();
    for (std::size_t range = 0; range < field.getUsageRangeCount(); ++range) {
        usages.push_back({field.getFirstUsage(range), field.getLastUsage(range)});
    }
    return {{"type", typeName(field.getReportType())},
            {"id", field.getReportID()},
            {"bit", field.getBitOffset()},
            {"size", field.getSizeBits()},
            {"count", field.getCount()},
            {"usages", std::move(usages)},
            {"isArray", field.isArray()},
            {"isConstant", field.isConstant()},
            {"isRelative", field.isRelative()},
            {"isSigned", field.isSigned()},
            {"hasNull", field.hasNullState()},
            {"minimum", exactNumber(field.getLogicalMinimum())},
            {"maximum", exactNumber(field.getLogicalMaximum())},
            {"scale", scaleJson(field)},
            {"unit", unitText(field.getUnit(), 0)}};
}

Json fieldsJson(const QrxReportLayout& layout)
{
    Json list = Json::array();
    for (std::size_t i = 0; i < layout.getFieldCount(); ++i) {
        list.push_back(fieldJson(layout.getField(i)));
    }
    return list;
}

Json itemJson(const ItemText& item, const ItemScope* scope)
{
    Json json = {{"offset", item.offset}, {"bytes", bytesText(item.bytes)}, {"depth", item.depth},
                 {"name", item.name},     {"meaning", item.meaning},        {"reach", Json::array()}};
    // An item that is cut off by the end has a text and no effect.
    if (scope == nullptr) {
        return json;
    }
    for (const ItemRange& range : scope->reach) {
        json["reach"].push_back({range.first, range.last});
    }
    if (scope->firstUsage) {
        json["usages"] = {*scope->firstUsage, scope->lastUsage};
    }
    if (scope->bits) {
        json["declares"] = {{"type", typeName(scope->bits->type)},
                            {"id", scope->bits->reportID},
                            {"bit", scope->bits->offset},
                            {"bits", scope->bits->count}};
    }
    return json;
}

Json itemsJson(const std::vector<std::uint8_t>& descriptor)
{
    Json list = Json::array();
    // Both walks see the same items in the same order, so they are joined by their place.
    const std::vector<ItemScope> scopes = itemScopes(descriptor);
    for (const ItemText& item : itemTexts(descriptor)) {
        list.push_back(itemJson(item, list.size() < scopes.size() ? &scopes[list.size()] : nullptr));
    }
    return list;
}

/// What the interface is in the first place: "Generic Desktop: Mouse".
std::string purposeOf(const QrxReportLayout& layout)
{
    // The first collection is the first application collection, by which systems choose their drivers.
    return layout.getCollectionCount() == 0 ? "" : fullNameOf(layout.getCollectionUsage(0));
}

Json interfaceJson(const QrxRecordedInterface& interface)
{
    const QrxReportLayout layout(interface.getReportDescriptor().data(), interface.getReportDescriptor().size());
    const InterfaceOutline outline = outlineOf(layout, interface.getNumber());
    return {{"number", interface.getNumber()},
            {"name", shownText(interface.getName())},
            {"purpose", purposeOf(layout)},
            {"descriptorBytes", interface.getReportDescriptor().size()},
            {"numbersReports", layout.hasReportNumbers()},
            {"tree", treeJson(outline.elements, 0)},
            {"reports", reportsJson(outline)},
            {"fields", fieldsJson(layout)},
            {"names", namesJson(layout)},
            {"items", itemsJson(interface.getReportDescriptor())}};
}

std::string serialText(const PageSubject& subject)
{
    if (subject.recording.getSerialNumber().empty()) {
        return "none";
    }
    return subject.showsSerialNumber ? shownText(subject.recording.getSerialNumber()) : "not shown";
}

std::string classText(const QrxRecording& device)
{
    const std::string numbers = std::to_string(device.getDeviceClass()) + ", " +
                                std::to_string(device.getDeviceSubclass()) + ", " +
                                std::to_string(device.getDeviceProtocol());
    // Class 0 of a device (USB 2.0, 9.6.1). Nearly all HID devices have it.
    return device.getDeviceClass() == 0 ? numbers + " (each interface has its own)" : numbers;
}

std::string nameOf(const QrxRecording& device)
{
    const std::string separator = device.getVendorName().empty() || device.getProductName().empty() ? "" : " ";
    const std::string name = device.getVendorName() + separator + device.getProductName();
    return shownText(name.empty() && !device.getInterfaces().empty() ? device.getInterfaces().front().getName() : name);
}

/// What the page's head tells, as pairs of a word and a text.
Json factsJson(const PageSubject& subject)
{
    const QrxRecording& device = subject.recording;
    const auto orNone = [](const std::string& text) { return text.empty() ? "none" : shownText(text); };
    const std::pair<const char*, std::string> facts[] = {
        {"Vendor", orNone(device.getVendorName())},
        {"Product", orNone(device.getProductName())},
        {"IDs", DeviceIdentity{device.getVendorID(), device.getProductID()}.text()},
        {"Release", releaseText(device.getReleaseNumber())},
        {"Serial number", serialText(subject)},
        {"Class", classText(device)},
        {"From", shownText(subject.source)},
    };
    // Not in one initializer, which would make an object of pairs of texts.
    Json list = Json::array();
    for (const auto& [word, text] : facts) {
        list.push_back(Json::array({word, text}));
    }
    return list;
}

} // namespace

Json pageData(const PageSubject& subject, const DeviceFilter& filter)
{
    const QrxRecording& device = subject.recording;
    const std::string name = nameOf(device);
    Json interfaces = Json::array();
    for (const QrxRecordedInterface& interface : device.getInterfaces()) {
        // What is not chosen is not on the page at all, its input included: pages are shown to others.
        if (filter.hasInterface(interface.getNumber())) {
            interfaces.push_back(interfaceJson(interface));
        }
    }
    return {{"program", "qrxhid " QRXHID_VERSION},
            {"name", name.empty() ? "(no name)" : name},
            {"ids", DeviceIdentity{device.getVendorID(), device.getProductID()}.text()},
            {"facts", factsJson(subject)},
            {"isLive", subject.isLive},
            {"interfaces", std::move(interfaces)},
            {"events", eventData(device, [&filter](int number) { return filter.hasInterface(number); })}};
}

} // namespace qrxhid
