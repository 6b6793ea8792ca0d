#include "TreeInvariants.h"

#include <map>
#include <utility>

namespace qrx::hid {

namespace {

using ReportKey = std::pair<ReportType, std::uint32_t>;

std::map<ReportKey, std::size_t> reportBits(const Descriptor& descriptor)
{
    std::map<ReportKey, std::size_t> bits;
    for (const Report& report : descriptor.reports)
        bits[{report.type, report.id}] = report.bits;
    return bits;
}

ReportType reportTypeOf(const Element& element)
{
    if (element.type == ElementType::output)
        return ReportType::output;
    return element.type == ElementType::feature ? ReportType::feature : ReportType::input;
}

std::string brokenField(const Descriptor& descriptor, const Limits& limits)
{
    auto bits = reportBits(descriptor);
    for (const auto& [key, size] : bits) {
        if (size > limits.reportBits)
            return "a report is longer than the limit";
    }
    for (const Field& field : descriptor.fields) {
        const auto report = bits.find({field.type, field.reportID});
        if (report == bits.end())
            return "a field's report is not listed";
        if (field.bitOffset + std::size_t{field.sizeBits} * field.count > report->second)
            return "a field ends behind its report";
        if (field.collection && *field.collection >= descriptor.collections.size())
            return "a field's collection does not exist";
    }
    for (std::size_t i = 0; i < descriptor.collections.size(); ++i) {
        const Collection& collection = descriptor.collections[i];
        if (collection.parent && *collection.parent >= i)
            return "a collection comes before the one around it";
        if (collection.depth >= limits.collectionDepth)
            return "a collection is nested too deep";
    }
    return descriptor.diagnoses.size() > limits.diagnoses ? "more diagnoses than the limit" : "";
}

std::string brokenElement(const Element& element, std::map<ReportKey, std::size_t>& bits, std::uint32_t cookie)
{
    if (element.cookie != cookie)
        return "a cookie is not the place in the table";
    const bool hasPlace = element.role == ElementRole::field || element.role == ElementRole::duplicate ||
                          element.role == ElementRole::arrayHead || element.role == ElementRole::arraySlot;
    if (!hasPlace || element.bitOffset == kNoBitOffset)
        return "";
    const std::size_t end = element.bitOffset + element.sizeBits();
    const std::size_t numberBits = element.reportID != 0 ? 8 : 0;
    if (element.bitOffset < numberBits || end > bits[{reportTypeOf(element), element.reportID}] + numberBits)
        return "an element lies outside of its report";
    return element.reportSize == 0 || element.reportCount == 0 ? "an element has no bits" : "";
}

std::string brokenNesting(const ElementTree& tree)
{
    std::vector<unsigned> listed(tree.elements.size());
    for (const Element& parent : tree.elements) {
        std::uint32_t previous = 0;
        for (const std::uint32_t cookie : parent.children) {
            if (cookie >= tree.elements.size() || cookie <= parent.cookie)
                return "a child comes before the element it is listed in";
            if (cookie <= previous)
                return "children are not in cookie order";
            previous = cookie;
            ++listed[cookie];
        }
    }
    for (const std::uint32_t cookie : tree.reportHandlers)
        ++listed.at(cookie);
    for (const Element& element : tree.elements) {
        if (listed[element.cookie] != (element.isPublished ? 1U : 0U))
            return "an element is not listed exactly once";
    }
    return "";
}

} // namespace

std::string brokenInvariant(const Descriptor& descriptor, const ElementTree& tree, const Limits& limits)
{
    if (std::string broken = brokenField(descriptor, limits); !broken.empty())
        return broken;
    if (tree.elements.empty() || tree.elements.size() > limits.elements)
        return "the table is larger than the limit, or empty";
    auto bits = reportBits(descriptor);
    for (std::uint32_t cookie = 0; cookie < tree.elements.size(); ++cookie) {
        if (std::string broken = brokenElement(tree.elements[cookie], bits, cookie); !broken.empty())
            return broken;
    }
    return brokenNesting(tree);
}

} // namespace qrx::hid
