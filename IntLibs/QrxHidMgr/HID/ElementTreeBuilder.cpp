// From fields to elements, in the numbering and nesting of the platform's own HID family. Cookies are positions in one
// table, and applications and recordings rely on them, so the order of the passes below is a contract: the root, the
// collections in descriptor order, then the buttons of the input, output and feature reports, then the values in the
// same three passes, then the report handlers: one for unnumbered input if there is any, and one for each report
// number.
//
// A variable item makes an element for each usage. If values are left over, the last usage becomes the head of a group:
// it counts them, and a duplicate for each follows. An array makes a head for the whole, a slot for each entry, and a
// selector for each usage that an entry can show. Children are linked in a last pass, when all cookies are known.

#include "ElementTreeBuilder.h"

#include "FieldRules.h"
#include "PlacesByNumber.h"

#include <algorithm>
#include <array>
#include <utility>

namespace qrx::hid {

namespace {

constexpr std::uint32_t kPhysicalCollection = 0;
constexpr std::uint32_t kApplicationCollection = 1;
constexpr unsigned kPageShift = 16;
constexpr std::uint32_t kUsageIDMask = 0xFFFF;

/// A property holds 32 bits: a value above 0x7FFFFFFF is stored as its bit pattern and reads as a negative number.
std::int32_t inDictionary(std::int64_t value)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

void setRanges(Element& element, const ValueRange& logical, const ValueRange& physical)
{
    element.min = inDictionary(logical.minimum);
    element.max = inDictionary(logical.maximum);
    element.scaledMin = inDictionary(physical.minimum);
    element.scaledMax = inDictionary(physical.maximum);
}

ElementType typeOf(const Field& field)
{
    switch (field.type) {
    case ReportType::output:
        return ElementType::output;
    case ReportType::feature:
        return ElementType::feature;
    case ReportType::input:
        break;
    }
    // The platform tells buttons from values only among inputs.
    return isButton(field) ? ElementType::inputButton : ElementType::inputMisc;
}

void setUsage(Element& element, std::uint64_t usage)
{
    element.usagePage = static_cast<std::uint32_t>(usage >> kPageShift);
    element.usage = static_cast<std::uint32_t>(usage & kUsageIDMask);
}

} // namespace

ElementTreeBuilder::ElementTreeBuilder(Descriptor& descriptor, const Limits& limits)
    : _descriptor(descriptor), _log(descriptor, limits), _limit(limits.elements)
{
}

ElementTree ElementTreeBuilder::build()
{
    _measureReports();
    // The root, the collections and the handlers get their entries first: fields are reached through their collections,
    // and a report has its size from its handler.
    std::size_t room = _limit;
    const auto claim = [&room](std::size_t wanted) {
        const std::size_t granted = std::min(room, wanted);
        room -= granted;
        return granted;
    };
    claim(1);
    _collectionCount = claim(_descriptor.collections.size());
    if (_collectionCount < _descriptor.collections.size()) {
        _log.error(_descriptor.collections[_collectionCount].offset, "Collection", "more elements than the limit");
    }
    _inputReports.erase(_inputReports.begin() + static_cast<std::ptrdiff_t>(claim(_inputReports.size())),
                        _inputReports.end());
    const ElementBudget budget(_descriptor.fields, room, _log);
    _makesHiddenDuplicates = budget.makesHiddenDuplicates();

    const std::size_t total = 1 + _collectionCount + budget.total() + _inputReports.size();
    _tree.elements.reserve(total);
    _parents.reserve(total);
    _addCollections();
    // Six passes over the fields instead of a sort: stable by nature, and the fields are few compared with their
    // elements.
    for (const bool buttons : {true, false}) {
        for (const ReportType type : {ReportType::input, ReportType::output, ReportType::feature}) {
            _addFields(budget, buttons, type);
        }
    }
    _addHandlers();
    _linkChildren();
    _describeDevice();
    return std::move(_tree);
}

void ElementTreeBuilder::_measureReports()
{
    const bool usesIDs = _descriptor.usesReportIDs();
    std::array<std::size_t, 3> longest{};
    // By number: one that can travel fits a byte.
    std::array<std::size_t, 0x100> inputBits{};
    for (const Report& report : _descriptor.reports) {
        if (!canTravel(report.id)) {
            continue;
        }
        // Sizes are those of the report as it travels, so the byte of the number counts where reports are numbered.
        const std::size_t bits = report.bits + (report.id != 0 ? kReportIDBits : 0);
        auto& best = longest[static_cast<std::size_t>(report.type)];
        best = std::max(best, bits);
        if (report.type == ReportType::input) {
            inputBits[report.id] = bits;
        }
    }
    // With report numbers even a kind without any report has size 1: the platform counts the byte of the number.
    const auto bytes = [usesIDs](std::size_t bits) {
        return static_cast<std::uint32_t>(std::max<std::size_t>((bits + 7) / 8, usesIDs ? 1 : 0));
    };
    _tree.usesReportIDs = usesIDs;
    _tree.maxInputReportSize = bytes(longest[0]);
    _tree.maxOutputReportSize = bytes(longest[1]);
    _tree.maxFeatureReportSize = bytes(longest[2]);

    if (inputBits[0] > 0) {
        _inputReports.push_back({ReportType::input, 0, inputBits[0]});
    }
    for (const std::uint32_t id : _descriptor.reportIDs) {
        if (!canTravel(id)) {
            continue;
        }
        // The platform lists every number, whichever kind of report uses it. Without an input report there remain the 8
        // bits of the number itself.
        _inputReports.push_back({ReportType::input, id, std::max<std::size_t>(kReportIDBits, inputBits[id])});
    }
}

void ElementTreeBuilder::_append(const Element& element, std::uint32_t parentCookie)
{
    // The cookie is the position in the table: this function is the only one that appends.
    const auto cookie = static_cast<std::uint32_t>(_tree.elements.size());
    _tree.elements.push_back(element);
    _tree.elements.back().cookie = cookie;
    _parents.push_back(parentCookie);
}

void ElementTreeBuilder::_add(const Element& element)
{
    if (_left == 0) {
        return;
    }
    --_left;
    _append(element, _parentCookie);
}

void ElementTreeBuilder::_addCollections()
{
    Element root;
    root.role = ElementRole::collection;
    root.type = ElementType::collection;
    root.isPublished = false;
    _append(root, 0);
    for (std::size_t i = 0; i < _collectionCount; ++i) {
        const Collection& collection = _descriptor.collections[i];
        Element element;
        element.role = ElementRole::collection;
        element.type = ElementType::collection;
        element.collectionType = collection.type;
        element.usagePage = collection.usagePage;
        element.usage = collection.usage;
        _append(element, _cookieOf(collection.parent));
    }
}

std::uint32_t ElementTreeBuilder::_cookieOf(std::optional<std::size_t> collection) const
{
    // If the limit cut the collections, a field hangs in the nearest enclosing one that is in the table. An enclosing
    // one has a lower index, so the search ends there or at the root.
    while (collection && *collection >= _collectionCount) {
        collection = _descriptor.collections[*collection].parent;
    }
    return collection ? static_cast<std::uint32_t>(*collection + 1) : 0;
}

void ElementTreeBuilder::_addFields(const ElementBudget& budget, bool buttons, ReportType type)
{
    for (std::size_t i = 0; i < _descriptor.fields.size(); ++i) {
        const Field& field = _descriptor.fields[i];
        if (field.type != type || isButton(field) != buttons || budget.entries(i) == 0) {
            continue;
        }
        _left = static_cast<std::size_t>(budget.entries(i));
        _parentCookie = _cookieOf(field.collection);
        if (field.isVariable()) {
            _addVariables(field);
        } else {
            _addArray(field);
        }
    }
}

Element ElementTreeBuilder::_elementOf(const Field& field)
{
    Element element;
    element.type = typeOf(field);
    element.reportID = field.reportID;
    element.reportSize = field.sizeBits;
    element.flags = field.flags;
    element.itemOffset = static_cast<std::uint32_t>(field.offset);
    // From the first bit that travels, so that readers need not know whether reports are numbered.
    element.bitOffset = field.bitOffset + (field.reportID != 0 ? kReportIDBits : 0);
    return element;
}

void ElementTreeBuilder::_addArray(const Field& field)
{
    const Element common = _elementOf(field);
    const ValueRange logical = logicalRange(field);

    Element head = common;
    head.role = ElementRole::arrayHead;
    setUsage(head, field.usages.front().first);
    // The head stands for all usages of the array: it keeps their page and has no usage of its own.
    head.usage = kNoUsage;
    head.reportCount = field.count;
    setRanges(head, logical, logical);
    _add(head);

    Element slot = head;
    slot.role = ElementRole::arraySlot;
    slot.reportCount = 1;
    // An array of one entry has no slots: its head is the entry.
    for (std::uint32_t i = 0; field.count > 1 && i < field.count && _left > 0; ++i) {
        slot.duplicateIndex = i;
        _add(slot);
        slot.bitOffset += field.sizeBits;
    }

    Element selector = common;
    selector.role = ElementRole::arraySelector;
    // A selector says whether its usage is shown: one bit, 0 or 1, though the report holds no such bit.
    selector.reportSize = 1;
    setRanges(selector, {0, 1}, {0, 1});
    for (const UsageRange& range : field.usages) {
        // 64 bits wide, as a range may end at 0xFFFFFFFF. `_left` bounds the loop whatever the range.
        for (std::uint64_t usage = range.first; usage <= range.last && _left > 0; ++usage) {
            setUsage(selector, usage);
            _add(selector);
            ++selector.usagePosition;
        }
    }
}

void ElementTreeBuilder::_addVariables(const Field& field)
{
    Element element = _elementOf(field);
    // A single bit has the range 0 to 1 whatever the device declares.
    const ValueRange logical = isButton(field) ? ValueRange{0, 1} : logicalRange(field);
    setRanges(element, logical, isButton(field) ? logical : physicalRange(field, logical));
    element.unit = field.unit;
    // As the device wrote it: the platform does not decode the nibble.
    element.unitExponent = field.rawUnitExponent;

    std::uint32_t index = 0;
    for (std::size_t r = 0; r < field.usages.size(); ++r) {
        const bool isLastRange = r + 1 == field.usages.size();
        // Surplus values belong to the last usage. Bits have no duplicates: surplus bits are padding.
        if (isLastRange && !isButton(field)) {
            element.reportCount = lastUsageCount(field);
        }
        for (std::uint64_t usage = field.usages[r].first; usage <= field.usages[r].last && _left > 0; ++usage) {
            setUsage(element, usage);
            // More usages than values: the surplus is numbered, as on the platform, but has no place in the report.
            if (index >= field.count) {
                element.bitOffset = kNoBitOffset;
            }
            _add(element);
            ++index;
            if (index < field.count) {
                element.bitOffset += field.sizeBits;
            }
        }
    }
    if (element.reportCount > 1) {
        _addDuplicates(element, _tree.elements.back().bitOffset);
    }
}

void ElementTreeBuilder::_addDuplicates(Element& element, std::size_t bitOffset)
{
    // Unpublished duplicates exist for their cookies alone: they keep the numbers of what follows as on the platform.
    element.isPublished = element.reportCount <= kMaximumPublishedDuplicates;
    if (!element.isPublished && !_makesHiddenDuplicates) {
        return;
    }
    const std::uint32_t count = std::exchange(element.reportCount, 1);
    element.role = ElementRole::duplicate;
    element.bitOffset = bitOffset;
    for (std::uint32_t i = 0; i < count && _left > 0; ++i) {
        element.duplicateIndex = i;
        _add(element);
        element.bitOffset += element.reportSize;
    }
}

void ElementTreeBuilder::_addHandlers()
{
    _tree.reportHandlers.reserve(_inputReports.size());
    for (const Report& report : _inputReports) {
        Element handler;
        handler.role = ElementRole::reportHandler;
        handler.type = ElementType::inputMisc;
        handler.reportID = report.id;
        handler.reportSize = static_cast<std::uint32_t>(report.bits);
        _tree.reportHandlers.push_back(static_cast<std::uint32_t>(_tree.elements.size()));
        // Not through `_add`: handlers belong to no field's share. They hang at the root, but no tree lists them.
        _append(handler, 0);
    }
}

void ElementTreeBuilder::_linkChildren()
{
    // Collections have the lowest cookies, so in cookie order the child collections come before the fields.
    const auto forEachChild = [this](auto&& visit) {
        for (std::uint32_t cookie = 1; cookie < _tree.elements.size(); ++cookie) {
            const Element& element = _tree.elements[cookie];
            if (element.isPublished && element.role != ElementRole::reportHandler) {
                visit(_parents[cookie], cookie);
            }
        }
    };
    // Counted first: the lists of all collections lie one after the other.
    std::vector<std::uint32_t> places(_collectionCount + 1);
    forEachChild([&](std::uint32_t parent, std::uint32_t) { ++places[parent]; });
    std::uint32_t total = 0;
    for (std::uint32_t& place : places) {
        const std::uint32_t count = std::exchange(place, total);
        total += count;
    }
    _tree.children = std::vector<std::uint32_t>(total);
    forEachChild([&](std::uint32_t parent, std::uint32_t cookie) { _tree.children[places[parent]++] = cookie; });
    // By now the place of each collection is the end of its list.
    std::uint32_t begin = 0;
    for (std::size_t i = 0; i < places.size(); ++i) {
        _tree.elements[i].children = std::span(_tree.children).subspan(begin, places[i] - begin);
        begin = places[i];
    }
}

void ElementTreeBuilder::_describeDevice()
{
    const auto& collections = _descriptor.collections;
    // An interface without anything that can travel is not a HID device to the platform.
    _tree.hasFields = std::any_of(_descriptor.fields.begin(), _descriptor.fields.end(),
                                  [](const Field& field) { return canTravel(field.reportID); });
    if (collections.empty()) {
        return;
    }
    // The first collection of a descriptor has none around it.
    _tree.primaryUsage = {collections.front().usagePage, collections.front().usage};
    PlacesByNumber known;
    for (const Collection& collection : collections) {
        // Which kinds count as usages of the device is the platform's choice, logical ones do not.
        if (collection.type != kApplicationCollection && collection.type != kPhysicalCollection) {
            continue;
        }
        const std::size_t count = _tree.usagePairs.size();
        if (known.placeOf(std::uint64_t{collection.usagePage} << 32 | collection.usage, count) == count) {
            _tree.usagePairs.push_back({collection.usagePage, collection.usage});
        }
    }
    if (_tree.usagePairs.empty()) {
        // The list is never empty where there is a collection: matching needs one pair.
        _tree.usagePairs.push_back(UsagePair(_tree.primaryUsage));
    }
}

} // namespace qrx::hid
