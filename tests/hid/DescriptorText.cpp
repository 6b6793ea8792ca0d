#include "DescriptorText.h"

#include <cctype>
#include <cstdio>

namespace qrx::hid {

namespace {

template <typename... Arguments>
std::string format(const char* pattern, Arguments... arguments)
{
    char text[256];
    std::snprintf(text, sizeof text, pattern, arguments...);
    return text;
}

const char* nameOf(ReportType type)
{
    constexpr const char* kNames[] = {"input", "output", "feature"};
    return kNames[static_cast<std::size_t>(type)];
}

std::string indexText(const std::optional<std::size_t>& index)
{
    return index ? std::to_string(*index) : "-";
}

std::string usageText(const UsageRange& range)
{
    const unsigned page = range.first >> 16;
    const unsigned first = range.first & 0xFFFFU;
    if (range.first == range.last)
        return format("%x:%x", page, first);
    if (range.last >> 16 == page)
        return format("%x:%x-%x", page, first, range.last & 0xFFFFU);
    return format("%x:%x-%x:%x", page, first, range.last >> 16, range.last & 0xFFFFU);
}

const char* roleName(const Element& element)
{
    switch (element.role) {
    case ElementRole::collection:
        return "collection";
    case ElementRole::duplicate:
        return "duplicate";
    case ElementRole::arrayHead:
        return "array";
    case ElementRole::arraySlot:
        return "slot";
    case ElementRole::arraySelector:
        return "selector";
    case ElementRole::reportHandler:
        return "handler";
    case ElementRole::field:
        break;
    }
    switch (element.type) {
    case ElementType::inputButton:
        return "button";
    case ElementType::output:
    case ElementType::feature:
    case ElementType::inputMisc:
    case ElementType::collection:
        break;
    }
    return "field";
}

void appendSubtree(const ElementTree& tree, const Element& element, std::size_t depth, std::string& text)
{
    for (const std::uint32_t cookie : element.children) {
        const Element& child = tree.elements[cookie];
        text += std::string(2 * depth, ' ') + elementText(child) + "\n";
        appendSubtree(tree, child, depth + 1, text);
    }
}

} // namespace

std::vector<std::uint8_t> bytesOf(std::string_view hex)
{
    std::vector<std::uint8_t> bytes;
    std::string digits;
    for (const char c : hex) {
        if (std::isspace(static_cast<unsigned char>(c)) != 0)
            continue;
        digits += c;
        if (digits.size() == 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return bytes;
}

std::string hexOf(std::span<const std::uint8_t> bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes)
        text += format(text.empty() ? "%02x" : " %02x", unsigned{byte});
    return text;
}

std::string collectionsText(const Descriptor& descriptor)
{
    std::string text;
    for (std::size_t i = 0; i < descriptor.collections.size(); ++i) {
        const Collection& collection = descriptor.collections[i];
        text += format("%zu in %s type %u usage %x:%x\n", i, indexText(collection.parent).c_str(), collection.type,
                       unsigned{collection.usagePage}, collection.usage);
    }
    return text;
}

std::string fieldText(const Field& field)
{
    std::string usages;
    for (const UsageRange& range : field.usages)
        usages += " " + usageText(range);
    std::string text =
        format("%s %u at %zu: %u x %u bits, flags %x, %lld..%lld (%lld..%lld), unit %x^%d, usages", nameOf(field.type),
               field.reportID, field.bitOffset, field.count, field.sizeBits, field.flags,
               static_cast<long long>(field.logicalMinimum), static_cast<long long>(field.logicalMaximum),
               static_cast<long long>(field.physicalMinimum), static_cast<long long>(field.physicalMaximum), field.unit,
               field.unitExponent);
    return text + usages + ", in " + indexText(field.collection);
}

std::string fieldsText(const Descriptor& descriptor)
{
    std::string text;
    for (const Field& field : descriptor.fields)
        text += fieldText(field) + "\n";
    return text;
}

std::string reportsText(const Descriptor& descriptor)
{
    std::string text;
    for (const Report& report : descriptor.reports)
        text += format("%s %u: %zu bits\n", nameOf(report.type), report.id, report.bits);
    return text;
}

std::string diagnosesText(const Descriptor& descriptor)
{
    std::string text;
    for (const Diagnosis& diagnosis : descriptor.diagnoses)
        text += format("%s at %zu, %s: %s\n", diagnosis.isError ? "error" : "warning", diagnosis.offset,
                       diagnosis.item.c_str(), diagnosis.reason.c_str());
    return text;
}

std::string elementText(const Element& element)
{
    const bool hasUsage = element.usage != kNoUsage;
    std::string text = format("%u %s %x:%s", element.cookie, roleName(element), element.usagePage,
                              hasUsage ? format("%x", element.usage).c_str() : "none");
    if (element.role == ElementRole::collection)
        return text + format(" type %u", element.collectionType);
    if (element.type == ElementType::output || element.type == ElementType::feature)
        text += element.type == ElementType::output ? " output" : " feature";
    text += format(" id %u %u*%u", element.reportID, element.reportCount, element.reportSize);
    if (element.role == ElementRole::reportHandler)
        return text;
    text += element.bitOffset == kNoBitOffset ? " at none" : format(" at %zu", element.bitOffset);
    text += format(" flags %x %d..%d (%d..%d) unit %x^%d", element.flags, element.min, element.max, element.scaledMin,
                   element.scaledMax, element.unit, element.unitExponent);
    return element.duplicateIndex ? text + format(" index %u", *element.duplicateIndex) : text;
}

std::string treeText(const ElementTree& tree)
{
    std::string text;
    appendSubtree(tree, tree.elements.front(), 0, text);
    for (const std::uint32_t cookie : tree.reportHandlers)
        text += elementText(tree.elements[cookie]) + "\n";
    return text;
}

} // namespace qrx::hid
