#include "descriptor/SystemRules.h"

#include <algorithm>

// The readings of each system, and why the library has the one that it has, stand in docs/report-descriptors.md: its
// table of departures is the list of these rules.

namespace qrxhid {

namespace {

using qrx::hid::ItemReader;
using qrx::hid::ItemType;
using Severity = LintFinding::Severity;
namespace tag = qrx::hid::tag;

// Bits of a main item, HID 1.11, 6.2.2.5.
constexpr std::uint32_t kConstant = 0x1;
constexpr std::uint32_t kVariable = 0x2;

constexpr std::uint8_t kExtendedBytes = 4;
constexpr unsigned kPageShift = 16;
constexpr std::uint32_t kKeyboardPage = 0x07;
/// macOS gives arrays of keys all usages up to the last one that is no modifier.
constexpr std::uint32_t kLastKey = 0xDF;
/// Places of an array of which macOS makes elements.
constexpr std::uint32_t kShownPlaces = 32;
constexpr std::uint32_t kMostCollectionType = 0xFF;

} // namespace

void SystemRules::add(Severity severity, const Item& item, const char* reason, const char* advice)
{
    _findings.push_back({severity, item.offset, item.name(), reason, advice});
}

std::vector<LintFinding> SystemRules::check(std::span<const std::uint8_t> descriptor)
{
    // A truncated item ends the walk without a word: the parser tells of it.
    ItemReader items(descriptor);
    Item item;
    while (items.next(item) == ItemReader::Outcome::item) {
        take(item);
    }
    return std::move(_findings);
}

void SystemRules::take(const Item& item)
{
    // Its data are no items, so no rule below is asked about them.
    if (item.isLong) {
        add(Severity::warning, item, "macOS reads a long item as short ones; Linux and Windows skip it",
            "leave it out: no long item is defined");
        return;
    }
    switch (item.type) {
    case ItemType::main:
        takeMain(item);
        // A main item ends all local items.
        _usages.clear();
        _hasStringRange = false;
        break;
    case ItemType::global:
        takeGlobal(item);
        break;
    case ItemType::local:
        takeLocal(item);
        break;
    case ItemType::reserved:
        break;
    }
}

void SystemRules::takeGlobal(const Item& item)
{
    switch (item.tag) {
    case tag::kUsagePage:
        _globals.page = item.data;
        break;
    case tag::kLogicalMinimum:
        _globals.logicalMinimum = item.signedData();
        break;
    case tag::kLogicalMaximum:
        checkMaximum(item, _globals.logicalMinimum);
        break;
    case tag::kPhysicalMinimum:
        _globals.physicalMinimum = item.signedData();
        break;
    case tag::kPhysicalMaximum:
        checkMaximum(item, _globals.physicalMinimum);
        break;
    case tag::kReportSize:
        _globals.size = item.data;
        break;
    case tag::kReportCount:
        _globals.count = item.data;
        break;
    // Not limited as the parser's stack is: an item of the descriptor costs one entry at most.
    case tag::kPush:
        _pushed.push_back(_globals);
        break;
    case tag::kPop:
        if (!_pushed.empty()) {
            _globals = _pushed.back();
            _pushed.pop_back();
        }
        break;
    default:
        break;
    }
}

// By the letter of HID 1.11 data is signed in its own width: one byte 0xFF is -1.
void SystemRules::checkMaximum(const Item& item, std::optional<std::int32_t> minimum)
{
    // A minimum below 0 makes the field signed for everybody, so all systems agree on the maximum.
    if (!minimum || *minimum < 0 || item.signedData() >= *minimum) {
        return;
    }
    if (item.dataBytes == kExtendedBytes) {
        add(Severity::warning, item,
            "above 2147483647: macOS takes it as negative and cuts the range; Linux and Windows read it unsigned",
            "use at most 2147483647, or fields of fewer bits");
    } else {
        add(Severity::warning, item,
            "macOS takes it as negative, as HID 1.11 has it; Linux and Windows read it unsigned",
            "write it with more bytes: 26 ff 00 is 255 everywhere, 25 ff is -1 to some");
    }
}

void SystemRules::takeLocal(const Item& item)
{
    const bool isExtended = item.dataBytes == kExtendedBytes;
    switch (item.tag) {
    case tag::kUsage:
        // With the page that is in force here: systems differ in whether they join that one or the main item's.
        _usages.push_back({item.offset, item.data, item.data, _globals.page, isExtended, false});
        break;
    case tag::kUsageMinimum:
        _usages.push_back({item.offset, item.data, item.data, _globals.page, isExtended, true});
        break;
    case tag::kUsageMaximum:
        // The parser tells of a maximum that has no minimum.
        if (!_usages.empty() && _usages.back().isRange) {
            _usages.back().last = item.data;
        }
        break;
    case tag::kStringMinimum:
    case tag::kStringMaximum:
        _hasStringRange = true;
        break;
    case tag::kDelimiter:
        // 1 opens a set of alternatives; the item that closes it needs no second finding.
        if (item.data == 1) {
            add(Severity::warning, item,
                "macOS counts alternatives as further usages, which shifts those of all following bits; Linux and "
                "Windows take the first of each set",
                "name the preferred usage alone");
        }
        break;
    default:
        break;
    }
}

void SystemRules::takeMain(const Item& item)
{
    if (item.tag == tag::kCollection) {
        checkCollection(item);
        return;
    }
    // End Collection has nothing that systems could read differently.
    const bool isField = item.tag == tag::kInput || item.tag == tag::kOutput || item.tag == tag::kFeature;
    if (!isField) {
        return;
    }
    checkPages(item);
    // Systems ignore constant fields, but some read their usages.
    if ((item.data & kConstant) != 0) {
        const bool isUndefined = !_usages.empty() && std::ranges::all_of(_usages, [](const Usage& usage) {
            return usage.first == 0 && usage.last == 0;
        });
        if (isUndefined) {
            add(Severity::note, item, "macOS makes elements of padding that has the usage 0; others make none",
                "give padding no usage");
        }
        return;
    }
    if ((item.data & kVariable) == 0) {
        checkArray(item);
    } else {
        checkVariable(item);
    }
}

void SystemRules::checkPages(const Item& item)
{
    const bool isMoved = std::ranges::any_of(
        _usages, [this](const Usage& usage) { return !usage.isExtended && usage.page != _globals.page; });
    // A usage of four bytes carries its page, so it cannot move.
    if (isMoved) {
        add(Severity::warning, item,
            "the usage page changed after its usages: macOS keeps the page that was in force where they are written; "
            "Windows joins the page of this item, Linux as well unless they name several pages",
            "write the usage page before the usages, or usages of four bytes, which carry their page");
    }
}

void SystemRules::checkCollection(const Item& item)
{
    if (item.data > kMostCollectionType) {
        add(Severity::warning, item, "macOS takes all of its bits as the type; Linux and Windows the low 8",
            "write the type as one byte");
    }
    if (_usages.empty()) {
        add(Severity::warning, item,
            "a collection without a usage: macOS gives it the next usage that comes, and all following ones move by "
            "one; Linux and Windows give it none",
            "write a usage before the collection");
        return;
    }
    // Every system takes the first of several usages of a collection.
    const Usage& usage = _usages.front();
    if (usage.isExtended && usage.first >> kPageShift != _globals.page) {
        add(Severity::warning, item,
            "macOS puts the collection on the current usage page; Linux and Windows on the page that its usage carries",
            "set the usage page before it");
    }
    if (usage.isRange) {
        add(Severity::warning, item,
            "a range of usages for a collection: macOS gives it the usage 0; Linux and Windows the first of the range",
            "write one Usage item");
    }
}

void SystemRules::checkArray(const Item& item)
{
    if (_globals.count > kShownPlaces) {
        add(Severity::note, item, "macOS shows no elements for the places of an array of more than 32",
            "use at most 32 places");
    }
    if (_hasStringRange) {
        add(Severity::warning, item, "macOS takes the limits of the array from its range of strings",
            "write String Index items instead of a range");
    }
    const bool isOfKeys = _globals.page == kKeyboardPage && !_usages.empty();
    if (isOfKeys && _usages.back().isRange && _usages.back().last < kLastKey) {
        add(Severity::note, item, "macOS extends an array of keys to the usage 0xdf",
            "end it at 0xdf or above, or accept keys that are never sent");
    }
}

void SystemRules::checkVariable(const Item& item)
{
    std::uint64_t usages = 0;
    for (const Usage& usage : _usages) {
        usages += usage.count();
    }
    // Without usages the item is padding; with enough of them nothing is left to be shared out.
    if (usages == 0 || usages >= _globals.count) {
        return;
    }
    const Usage& last = _usages.back();
    if (last.isRange && last.count() > 1) {
        add(Severity::warning, item,
            "more values than usages after a range: macOS takes the values that are left over from the wrong bits; on "
            "Linux the last usage stands for them",
            "give the item as many usages as values, and what is left over an item of its own");
        return;
    }
    // One Usage item at the end is the usual way to name the rest, and all systems read it alike unless it repeats one.
    const auto sameAsLast = [&last](const Usage& usage) {
        return usage.first == last.first && usage.page == last.page;
    };
    if (last.isRange) {
        add(Severity::warning, item,
            "a range of one usage: macOS makes one element, whatever the count; on Linux the usage stands for all "
            "values that are left over",
            "write it as a Usage item");
    } else if (std::ranges::count_if(_usages, sameAsLast) > 1) {
        add(Severity::warning, item,
            "the last usage repeats an earlier one: macOS makes no elements for the values that are left over; on "
            "Linux "
            "the usage stands for them",
            "write the repeated usage in an item of its own");
    }
}

} // namespace qrxhid
