#include "OracleComparison.h"

#include "DescriptorText.h"

#include <algorithm>
#include <sstream>

namespace qrx::hid {

using nlohmann::json;

namespace {

// The reasons for a difference.
constexpr const char* kSeveralPages = "a usage list written on several pages keeps them, as in Linux";
constexpr const char* kAlternatives = "of a delimiter set only the preferred usage is listed";
constexpr const char* kOpenSet = "the preferred usage of a set that was not closed is kept";
constexpr const char* kPhysicalDefault = "physical limits that equal the logical ones by default are kept as 0";
constexpr const char* kLongReport = "a report beyond the limit of bits takes no more fields";
constexpr const char* kLongDescriptor = "a descriptor is read up to the limit of bytes";
constexpr const char* kDeepCollection = "a collection nested beyond the limit is not opened";
constexpr const char* kNumberZero = "a report number of 0 numbers no report";
constexpr const char* kDeepPush = "a state pushed beyond the limit is not kept";

constexpr std::size_t kLongestShortItem = 5;

const char* const kTypeNames[] = {"input", "output", "feature"};

/// A usage entry of the oracle as a range; of alternatives the first usage.
UsageRange rangeOf(const json& entry)
{
    if (entry.is_object()) {
        const std::uint32_t first = rangeOf(entry["alt"][0]).first;
        return {first, first};
    }
    if (entry.is_array())
        return {entry[0].get<std::uint32_t>(), entry[1].get<std::uint32_t>()};
    return {entry.get<std::uint32_t>(), entry.get<std::uint32_t>()};
}

bool matches(const std::vector<UsageRange>& mine, const json& theirs)
{
    return std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(),
                      [](const UsageRange& range, const json& entry) {
                          const UsageRange other = rangeOf(entry);
                          return range.first == other.first && range.last == other.last;
                      });
}

} // namespace

OracleComparison::OracleComparison(const Descriptor& descriptor, const json& oracle, const Limits& limits)
    : _descriptor(descriptor), _oracle(oracle), _limits(limits)
{
    _compareCollections();
    _compareFields();
    _compareReports();
    _compareErrors();
}

template <typename Mine, typename Theirs>
void OracleComparison::_expectEqual(std::size_t offset, const char* what, const Mine& mine, const Theirs& theirs)
{
    if (mine == theirs)
        return;
    std::ostringstream text;
    text << what << " " << mine << ", expected " << theirs;
    _fail(offset, text.str());
}

void OracleComparison::_fail(std::size_t offset, const std::string& text)
{
    _failures.push_back("at " + std::to_string(offset) + ": " + text);
}

bool OracleComparison::_hasDiagnosis(std::size_t offset, const std::string& reasonPart) const
{
    return std::any_of(_descriptor.diagnoses.begin(), _descriptor.diagnoses.end(), [&](const Diagnosis& diagnosis) {
        return diagnosis.offset == offset && diagnosis.reason.find(reasonPart) != std::string::npos;
    });
}

bool OracleComparison::_isBeyondLimit(std::size_t offset) const
{
    return offset >= _limits.descriptorBytes && _hasDiagnosis(_limits.descriptorBytes, "longer than the limit");
}

void OracleComparison::_compareCollections()
{
    std::size_t index = 0;
    for (const json& expected : _oracle["collections"]) {
        const std::size_t offset = expected["offset"];
        if (_isBeyondLimit(offset)) {
            _explain(kLongDescriptor);
            continue;
        }
        if (expected["depth"].get<std::size_t>() >= _limits.collectionDepth && _hasDiagnosis(offset, "nested deeper")) {
            _explain(kDeepCollection);
            continue;
        }
        if (index >= _descriptor.collections.size())
            return _fail(offset, "collection missing");
        const Collection& mine = _descriptor.collections[index++];
        _expectEqual(offset, "collection at", mine.offset, offset);
        _expectEqual(offset, "collection type", mine.type, expected["type"].get<std::uint32_t>());
        _expectEqual(offset, "depth", mine.depth, expected["depth"].get<std::size_t>());
        const std::uint32_t usage = std::uint32_t{mine.usagePage} << 16 | mine.usage;
        if (expected["usage"].is_null())
            _expectEqual(offset, "collection usage", mine.usage, 0U);
        else
            _expectEqual(offset, "collection usage", usage, expected["usage"].get<std::uint32_t>());
        _expectEqual(offset, "is top level", !mine.parent, expected["parent"].is_null());
        if (mine.parent && !expected["parent"].is_null()) {
            const json& parent = _oracle["collections"][expected["parent"].get<std::size_t>()];
            _expectEqual(offset, "parent at", _descriptor.collections[*mine.parent].offset,
                         parent["offset"].get<std::size_t>());
        }
    }
    _expectEqual(0, "collections", _descriptor.collections.size(), index);
}

void OracleComparison::_compareFields()
{
    std::map<std::size_t, const Field*> mine;
    for (const Field& field : _descriptor.fields)
        mine[field.offset] = &field;
    for (const json& report : _oracle["reports"]) {
        const int type = static_cast<int>(std::find(kTypeNames, kTypeNames + 3, report["type"]) - kTypeNames);
        const std::uint32_t id = report["id"];
        for (const json& expected : report["fields"]) {
            const std::size_t offset = expected["offset"];
            const auto found = mine.find(offset);
            if (found != mine.end()) {
                _expectEqual(offset, "type", static_cast<int>(found->second->type), type);
                _expectEqual(offset, "report number", found->second->reportID, id);
                _compareField(*found->second, expected);
                mine.erase(found);
            } else if (_isBeyondLimit(offset)) {
                _cutReports.insert({type, id});
                _explain(kLongDescriptor);
            } else if (_hasDiagnosis(offset, "dropped")) {
                _cutReports.insert({type, id});
                _explain(kLongReport);
            } else {
                _fail(offset, "field missing");
            }
        }
    }
    for (const auto& [offset, field] : mine)
        _fail(offset, "field that is not expected: " + fieldText(*field));
}

void OracleComparison::_compareField(const Field& field, const json& expected)
{
    const std::size_t offset = field.offset;
    _expectEqual(offset, "bit offset", field.bitOffset, expected["bit_offset"].get<std::size_t>());
    _expectEqual(offset, "size", field.sizeBits, expected["size"].get<std::uint32_t>());
    _expectEqual(offset, "count", field.count, expected["count"].get<std::uint32_t>());
    _expectEqual(offset, "flags", field.flags, expected["flags"].get<std::uint32_t>());
    _expectEqual(offset, "logical minimum", field.logicalMinimum, expected["logical_min"].get<std::int64_t>());
    _expectEqual(offset, "logical maximum", field.logicalMaximum, expected["logical_max_eff"].get<std::int64_t>());
    _expectEqual(offset, "unit", field.unit, expected["unit"].get<std::uint32_t>());
    _expectEqual(offset, "unit exponent", field.unitExponent, expected["unit_exponent"].get<std::int32_t>());
    _comparePhysicalRange(field, expected);
    _compareUsages(field, expected);
    _comparePath(field, expected);
}

void OracleComparison::_comparePhysicalRange(const Field& field, const json& expected)
{
    const std::int64_t minimum = expected["physical_min"];
    const std::int64_t maximum = expected["physical_max"];
    if (field.physicalMinimum == minimum && field.physicalMaximum == maximum)
        return;
    const bool isDefault = minimum == field.logicalMinimum && maximum == field.logicalMaximum;
    if (isDefault && field.physicalMinimum == 0 && field.physicalMaximum == 0)
        return _explain(kPhysicalDefault);
    _expectEqual(field.offset, "physical minimum", field.physicalMinimum, minimum);
    _expectEqual(field.offset, "physical maximum", field.physicalMaximum, maximum);
}

void OracleComparison::_compareUsages(const Field& field, const json& expected)
{
    const bool hasAlternatives = std::any_of(expected["usages"].begin(), expected["usages"].end(),
                                             [](const json& entry) { return entry.is_object(); });
    if (hasAlternatives)
        _explain(kAlternatives);
    if (matches(field.usages, expected["usages"]))
        return;
    if (expected.contains("usages_linux") && matches(field.usages, expected["usages_linux"]))
        return _explain(kSeveralPages);
    if (field.usages.size() == expected["usages"].size() + 1 && _hasDiagnosis(field.offset, "was not closed"))
        return _explain(kOpenSet);
    _fail(field.offset, "usages of " + fieldText(field) + ", expected " + expected["usages"].dump());
}

void OracleComparison::_comparePath(const Field& field, const json& expected)
{
    std::vector<std::size_t> mine;
    for (auto collection = field.collection; collection; collection = _descriptor.collections[*collection].parent)
        mine.insert(mine.begin(), _descriptor.collections[*collection].offset);
    std::vector<std::size_t> theirs;
    for (const json& index : expected["collection"])
        theirs.push_back(_oracle["collections"][index.get<std::size_t>()]["offset"]);
    if (theirs.size() > _limits.collectionDepth && mine.size() == _limits.collectionDepth) {
        theirs.resize(mine.size());
        _explain(kDeepCollection);
    }
    _expectEqual(field.offset, "collection path", json(mine).dump(), json(theirs).dump());
}

void OracleComparison::_compareReports()
{
    std::vector<const json*> expected;
    for (const json& report : _oracle["reports"])
        expected.push_back(&report);
    // A report all of whose fields are beyond the limit of bytes is not known at all.
    std::erase_if(expected, [this](const json* report) { return _isBeyondLimit((*report)["fields"][0]["offset"]); });
    _expectEqual(0, "reports", _descriptor.reports.size(), expected.size());
    if (_descriptor.reports.size() != expected.size())
        return;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const Report& mine = _descriptor.reports[i];
        const json& theirs = *expected[i];
        const int type = static_cast<int>(mine.type);
        _expectEqual(0, "report type", std::string(kTypeNames[type]), theirs["type"].get<std::string>());
        _expectEqual(0, "report number", mine.id, theirs["id"].get<std::uint32_t>());
        if (!_cutReports.contains({type, mine.id}))
            _expectEqual(0, "report bits", mine.bits, theirs["bits"].get<std::size_t>());
    }
    const bool theirsNumbered = _oracle["uses_report_ids"];
    const bool hasZero = std::any_of(_descriptor.diagnoses.begin(), _descriptor.diagnoses.end(),
                                     [](const Diagnosis& diagnosis) { return diagnosis.reason == "0 is reserved"; });
    if (theirsNumbered && !_descriptor.usesReportIDs() && hasZero)
        return _explain(kNumberZero);
    _expectEqual(0, "uses report numbers", _descriptor.usesReportIDs(), theirsNumbered);
}

void OracleComparison::_compareErrors()
{
    std::set<std::size_t> mine;
    std::set<std::size_t> theirs;
    for (const Diagnosis& diagnosis : _descriptor.diagnoses) {
        if (diagnosis.isError)
            mine.insert(diagnosis.offset);
    }
    for (const json& problem : _oracle["problems"]) {
        const std::size_t offset = problem["offset"];
        if (problem["severity"] == "error" && offset <= _limits.descriptorBytes)
            theirs.insert(offset);
    }
    for (const std::size_t offset : theirs) {
        if (!mine.contains(offset))
            _fail(offset, "no error told, but expected");
    }
    for (const std::size_t offset : mine) {
        if (theirs.contains(offset))
            continue;
        if (_hasDiagnosis(offset, "nested deeper"))
            _explain(kDeepCollection);
        else if (offset + kLongestShortItem > _limits.descriptorBytes && _isBeyondLimit(_limits.descriptorBytes))
            _explain(kLongDescriptor);
        else if (_hasDiagnosis(offset, "dropped"))
            _explain(kLongReport);
        else if (_hasDiagnosis(offset, "states pushed") || _hasDiagnosis(offset, "beyond the limit"))
            _explain(kDeepPush);
        else
            _fail(offset, "error told that is not expected");
    }
}

} // namespace qrx::hid
