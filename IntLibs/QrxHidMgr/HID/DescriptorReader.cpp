// The state machine of a report descriptor. Global items change a state that holds until it is changed again or
// exchanged by Push and Pop. Local items are collected for the next main item and dropped with it. A main item combines
// both: Input, Output and Feature make a field at the end of the report of their type and of the report ID in force,
// Collection and End Collection open and close a level of nesting.
//
// Reading never stops at a fault. Real devices break nearly every rule, and hosts accept most of it, so a fault is
// noted with its place and the reading goes on with the most probable meaning. Where hosts differ, the Linux kernel's
// reading is taken, since that is what the device was tested with, and the diagnosis says that hosts disagree. What can
// grow with the input has a limit, and beyond it items are counted instead of kept, so that the nesting stays balanced.

#include "DescriptorReader.h"

#include "FieldRules.h"

#include <utility>

namespace qrx::hid {

namespace {

constexpr std::uint32_t kUsagePageMask = 0xFFFF;
constexpr std::uint32_t kCollectionTypeMask = 0xFF;
constexpr std::uint32_t kLargestReportID = 0xFF;

/// The Linux kernel refuses a descriptor with more of either, so such a device cannot be opened there. A warning only:
/// other hosts take it.
constexpr std::uint32_t kLinuxReportSizeBits = 256;
constexpr std::uint32_t kLinuxUsages = 12288;

/// HID 1.11, 6.2.2.7: the nibble codes 8..15 are -8..-1. A value that is no nibble is an ordinary signed number.
std::int32_t decodedExponent(std::int32_t raw)
{
    constexpr std::int32_t kNibbleValues = 16;
    return raw >= kNibbleValues / 2 && raw < kNibbleValues ? raw - kNibbleValues : raw;
}

} // namespace

Descriptor DescriptorReader::read(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() > _limits.descriptorBytes) {
        _log.error(_limits.descriptorBytes, "end", "longer than the limit, the rest is not read, bytes",
                   static_cast<std::int64_t>(bytes.size()));
        bytes = bytes.first(_limits.descriptorBytes);
    }
    // A field and the items that describe it seldom take fewer bytes than this, so the list is allocated once.
    constexpr std::size_t kUsualFieldBytes = 8;
    _descriptor.fields.reserve(bytes.size() / kUsualFieldBytes);
    ItemReader items(bytes);
    Item item;
    ItemReader::Outcome outcome = items.next(item);
    for (; outcome == ItemReader::Outcome::item; outcome = items.next(item)) {
        // Long items have the type "reserved" by their prefix, so they never pass for a main, global or local item.
        if (item.type == ItemType::main) {
            _takeMain(item);
        } else if (item.type == ItemType::global) {
            _takeGlobal(item);
        } else if (item.type == ItemType::local) {
            _locals.take(item, _global.usagePage);
        } else if (item.isLong) {
            _log.warning(item, "skipped, tag", item.tag);
        } else {
            _log.warning(item, "unknown type, skipped, tag", item.tag);
        }
    }
    if (outcome == ItemReader::Outcome::truncated) {
        _log.error(item, "cut off by the end of the descriptor");
    }
    _finish(bytes.size());
    return std::move(_descriptor);
}

void DescriptorReader::_takeMain(const Item& item)
{
    switch (item.tag) {
    case tag::kInput:
        _addField(item, ReportType::input);
        break;
    case tag::kOutput:
        _addField(item, ReportType::output);
        break;
    case tag::kFeature:
        _addField(item, ReportType::feature);
        break;
    case tag::kCollection:
        _openCollection(item);
        break;
    case tag::kEndCollection:
        _closeCollection(item);
        break;
    default:
        _log.warning(item, "unknown tag, skipped", item.tag);
    }
    // After every main item, those with an unknown tag included: local items hold up to the next main item, whatever it
    // is (6.2.2.8).
    _locals.finish(item);
}

void DescriptorReader::_takeGlobal(const Item& item)
{
    switch (item.tag) {
    case tag::kUsagePage:
        if (item.data > kUsagePageMask) {
            _log.error(item, "does not fit 16 bits", item.data);
        }
        // A usage has 16 bits for its page; the diagnosis has said that the rest is lost.
        _global.usagePage = static_cast<std::uint16_t>(item.data & kUsagePageMask);
        break;
    case tag::kLogicalMinimum:
        _global.logical.minimum = item.signedData();
        break;
    case tag::kLogicalMaximum:
        // Both readings are kept: whether the maximum is signed depends on the minimum, which may come later (see
        // DeclaredRange).
        _global.logical.maximum = item.signedData();
        _global.logical.unsignedMaximum = item.data;
        break;
    case tag::kPhysicalMinimum:
        _global.physical.minimum = item.signedData();
        break;
    case tag::kPhysicalMaximum:
        _global.physical.maximum = item.signedData();
        _global.physical.unsignedMaximum = item.data;
        break;
    case tag::kUnitExponent:
        _global.rawUnitExponent = item.signedData();
        break;
    case tag::kUnit:
        _global.unit = item.data;
        break;
    case tag::kReportSize:
        if (item.data > kLinuxReportSizeBits) {
            _log.warning(item, "more than the 256 bits that Linux accepts", item.data);
        }
        // The size has no limit here: `_addField` limits the length of the whole report.
        _global.reportSize = item.data;
        break;
    case tag::kReportID:
        _takeReportID(item);
        break;
    case tag::kReportCount:
        if (item.data > kLinuxUsages) {
            _log.warning(item, "more than the 12288 fields that Linux accepts", item.data);
        }
        _global.reportCount = item.data;
        break;
    case tag::kPush:
        _push(item);
        break;
    case tag::kPop:
        _pop(item);
        break;
    default:
        _log.warning(item, "unknown tag, skipped", item.tag);
    }
}

void DescriptorReader::_takeReportID(const Item& item)
{
    // A faulty number is used all the same. It keeps the fields of such a report apart from those of others; whether
    // they can travel is decided by who builds elements and layouts.
    _global.reportID = item.data;
    if (item.data == 0) {
        return _log.error(item, "0 is reserved");
    }
    if (item.data > kLargestReportID) {
        _log.error(item, "does not fit a byte, such a report cannot travel", item.data);
    }
    std::vector<std::uint32_t>& known = _descriptor.reportIDs;
    if (_knownIDs.placeOf(item.data, known.size()) == known.size()) {
        known.push_back(item.data);
    }
}

void DescriptorReader::_push(const Item& item)
{
    if (_pushed.size() < _limits.globalStackDepth) {
        return _pushed.push_back(_global);
    }
    ++_lostPushes;
    _log.error(item, "more states pushed than the limit", static_cast<std::int64_t>(_limits.globalStackDepth));
}

void DescriptorReader::_pop(const Item& item)
{
    // A Pop belongs to the latest Push. While pushes beyond the limit are open, the latest one was not kept.
    if (_lostPushes > 0) {
        --_lostPushes;
        return _log.error(item, "its state was beyond the limit, nothing changes");
    }
    if (_pushed.empty()) {
        return _log.error(item, "nothing was pushed");
    }
    // All globals come back, the report number too: that is the letter of 6.2.2.7, and what Linux does.
    if (_pushed.back().reportNumber() != _global.reportNumber()) {
        _log.warning(item, "brings back the report number, hosts disagree", _pushed.back().reportNumber());
    }
    _global = _pushed.back();
    _pushed.pop_back();
}

std::vector<UsageRange> DescriptorReader::_takeUsages(const Item& item)
{
    if (!_global.usagePage && _locals.needsUsagePage()) {
        _log.error(item, "a usage without a usage page");
    }
    return _locals.joined(_global.usagePage.value_or(0));
}

void DescriptorReader::_openCollection(const Item& item)
{
    // Taken before the limit is looked at, so that a faulty usage is reported for collections that are not kept, too.
    const std::vector<UsageRange> usages = _takeUsages(item);
    if (_open.size() >= _limits.collectionDepth) {
        ++_lostCollections;
        _log.error(item, "nested deeper than the limit, its fields are those of the one around it",
                   static_cast<std::int64_t>(_limits.collectionDepth));
        return;
    }
    Collection collection;
    collection.type = item.data & kCollectionTypeMask;
    collection.usagePage = _global.usagePage.value_or(0);
    // Only the first usage names a collection; others have no meaning and are dropped, as hosts do.
    if (!usages.empty()) {
        collection.usagePage = static_cast<std::uint16_t>(usages.front().first >> 16);
        collection.usage = usages.front().first & 0xFFFFU;
    }
    if (!_open.empty()) {
        collection.parent = _open.back();
    }
    collection.depth = _open.size();
    collection.offset = item.offset;
    // Indices and not pointers: the list of collections moves when it grows.
    _open.push_back(_descriptor.collections.size());
    _descriptor.collections.push_back(collection);
}

void DescriptorReader::_closeCollection(const Item& item)
{
    if (!_locals.isEmpty()) {
        _log.warning(item, "usages before it belong to nothing");
    }
    if (_lostCollections > 0) {
        --_lostCollections;
    } else if (_open.empty()) {
        _log.error(item, "no collection is open");
    } else {
        _open.pop_back();
    }
}

std::size_t DescriptorReader::_reportIndex(ReportType type)
{
    // Report types have numbers of their own: input 1 and output 1 are two reports. The type needs two bits of the key.
    const std::uint64_t key = std::uint64_t{_global.reportNumber()} << 2 | static_cast<std::uint64_t>(type);
    const std::size_t index = _reportsByKey.placeOf(key, _descriptor.reports.size());
    if (index == _descriptor.reports.size()) {
        _descriptor.reports.push_back({type, _global.reportNumber(), 0});
        _wantedBits.push_back(0);
    }
    return index;
}

void DescriptorReader::_addField(const Item& item, ReportType type)
{
    const std::size_t index = _reportIndex(type);
    Report& report = _descriptor.reports[index];

    // Globals that were never given read as 0, which makes a field without bits: harmless, and diagnosed below.
    Field field;
    field.type = type;
    field.reportID = _global.reportNumber();
    field.bitOffset = report.bits;
    field.sizeBits = _global.reportSize.value_or(0);
    field.count = _global.reportCount.value_or(0);
    field.flags = item.data;
    field.logicalMinimum = _global.logical.low();
    field.logicalMaximum = _global.logical.high();
    field.physicalMinimum = _global.physical.low();
    field.physicalMaximum = _global.physical.high();
    field.unit = _global.unit;
    field.unitExponent = decodedExponent(_global.rawUnitExponent);
    field.rawUnitExponent = _global.rawUnitExponent;
    field.usages = _takeUsages(item);
    if (!_open.empty()) {
        field.collection = _open.back();
    }
    field.offset = item.offset;
    _checkField(item, field);

    // The offset of a field is the sum of the fields before it. Once one is dropped, every later one of that report
    // would be read from the wrong place, so none is kept.
    std::uint64_t& wantedBits = _wantedBits[index];
    if (wantedBits > _limits.reportBits) {
        return _log.error(item, "dropped, an earlier field of its report was dropped");
    }
    // No overflow: the product of two 32-bit numbers and the largest report together fit 64 bits.
    wantedBits += std::uint64_t{field.sizeBits} * field.count;
    if (wantedBits > _limits.reportBits) {
        return _log.error(item, "dropped, its report would be longer than the limit, bits",
                          static_cast<std::int64_t>(_limits.reportBits));
    }
    report.bits = static_cast<std::size_t>(wantedBits);
    _descriptor.fields.push_back(std::move(field));
}

void DescriptorReader::_checkField(const Item& item, const Field& field)
{
    if (!_global.reportID && !_unnumberedField) {
        // Not a fault yet: a device without any Report ID item is the usual case. `_finish` knows.
        _unnumberedField = item.offset;
    }
    if (_open.empty()) {
        _log.error(item, "outside any collection");
    }
    if (!_global.reportSize || !_global.reportCount) {
        _log.warning(item, "report size or count never given");
    } else if (field.sizeBits == 0 || field.count == 0) {
        _log.warning(item, "no bits: report size or count is 0");
    }
    if (_locals.changesPage(_global.usagePage.value_or(0))) {
        _log.warning(item, "the usage page changed between its usages and the item, hosts disagree");
    }
    // Constant fields are padding. They need no usage and no range, and descriptors rarely give them one.
    if (field.isConstant()) {
        return;
    }
    if (field.usages.empty()) {
        _log.warning(item, "data without a usage");
    }
    // For arrays more usages than entries is the rule; a variable item has no value for the surplus.
    if (field.isVariable() && usageCount(field) > field.count) {
        _log.warning(item, "more usages than fields, fields", field.count);
    }
    _checkRange(item, field);
}

void DescriptorReader::_checkRange(const Item& item, const Field& field)
{
    if (!_global.logical.isComplete()) {
        _log.warning(item, "logical minimum or maximum never given");
    }
    if (field.logicalMinimum > field.logicalMaximum) {
        return _log.error(item, "logical minimum above logical maximum", field.logicalMinimum);
    }
    // Ranges are declared in at most 32 bits, so a wider field holds any.
    if (field.sizeBits == 0 || field.sizeBits > 32) {
        return;
    }
    const bool isSigned = field.logicalMinimum < 0;
    const std::int64_t values = std::int64_t{1} << field.sizeBits;
    const std::int64_t lowest = isSigned ? -(values / 2) : 0;
    const std::int64_t highest = isSigned ? values / 2 - 1 : values - 1;
    if (field.logicalMinimum < lowest || field.logicalMaximum > highest) {
        _log.warning(item, "logical range does not fit the field, bits", field.sizeBits);
    }
}

void DescriptorReader::_finish(std::size_t end)
{
    // Collections that are open at the end count as closed there. Linux refuses such a descriptor.
    if (const std::size_t open = _open.size() + _lostCollections) {
        _log.error(end, "end", "collections not closed", static_cast<std::int64_t>(open));
    }
    if (const std::size_t pushed = _pushed.size() + _lostPushes) {
        _log.warning(end, "end", "pushed states not popped", static_cast<std::int64_t>(pushed));
    }
    if (!_locals.isEmpty()) {
        _log.warning(end, "end", "usages without a main item");
    }
    if (_descriptor.reports.empty()) {
        _log.error(end, "end", "no input, output or feature item");
    }
    if (_descriptor.usesReportIDs() && _unnumberedField) {
        _log.error(*_unnumberedField, "Report ID", "missing before this field, though others have one");
    }
}

} // namespace qrx::hid
