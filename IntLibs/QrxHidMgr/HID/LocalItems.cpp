// The local items between two main items. Usages are kept in the order in which they were written, single ones and
// ranges alike, because values take them in this order. The two ends of a range may come in either order, and other
// local items may stand between them, so an end waits until its partner comes; usage, designator and string ranges wait
// independently of each other. A usage of four bytes carries its page in the high half; a shorter one is joined with a
// page when the main item comes.
//
// A delimiter opens a set of alternatives: several usages for the same control. Only the first of a set is kept.

#include "LocalItems.h"

#include <algorithm>

namespace qrx::hid {

namespace {

constexpr std::uint32_t kUsageIDMask = 0xFFFF;
constexpr unsigned kPageShift = 16;

/// HID 1.11, 6.2.2.8: a usage of four bytes carries its page in the high half.
bool carriesPage(const Item& item)
{
    return item.dataBytes == 4;
}

/// Called where one end of a range has a page of its own and the other has not. A page of 0 is no page; any other one
/// counts for both ends.
void matchEnds(std::uint32_t& low, bool& isLowExtended, std::uint32_t& high, bool& isHighExtended)
{
    const std::uint32_t page = (isHighExtended ? high : low) >> kPageShift;
    isLowExtended = isHighExtended = page != 0;
    if (page == 0) {
        return;
    }
    low = page << kPageShift | (low & kUsageIDMask);
    high = page << kPageShift | (high & kUsageIDMask);
}

} // namespace

void LocalItems::take(const Item& item, std::optional<std::uint16_t> usagePage)
{
    // The page in force is remembered with each usage: it decides in `joined` whether the list means several pages.
    const std::uint16_t page = usagePage.value_or(0);
    switch (item.tag) {
    case tag::kUsage:
        return _addUsage({item.data, item.data, page, carriesPage(item)});
    case tag::kUsageMinimum:
        return _takeMinimum(item, usageKind, page);
    case tag::kUsageMaximum:
        return _takeMaximum(item, usageKind, page);
    case tag::kDesignatorMinimum:
        return _takeMinimum(item, designatorKind, page);
    case tag::kDesignatorMaximum:
        return _takeMaximum(item, designatorKind, page);
    case tag::kStringMinimum:
        return _takeMinimum(item, stringKind, page);
    case tag::kStringMaximum:
        return _takeMaximum(item, stringKind, page);
    case tag::kDelimiter:
        return _takeDelimiter(item);
    // Single indices name texts and body parts. No element shows them, so they are read and dropped.
    case tag::kDesignatorIndex:
    case tag::kStringIndex:
        return;
    default:
        _log.warning(item, "unknown tag, skipped", item.tag);
    }
}

void LocalItems::_takeMinimum(const Item& item, Kind kind, std::uint16_t page)
{
    OpenRange& open = _openRanges[kind];
    const OpenRange low{Waiting::forMaximum, item.data, carriesPage(item), page};
    if (open.waiting == Waiting::forMinimum) {
        _log.warning(item, "comes after its maximum");
        // The range is taken out before it is closed, so that the next minimum starts anew even after an error.
        const OpenRange high = open;
        open = {};
        return _closeRange(item, kind, low, high, page);
    }
    // Two minimums in a row: the later one counts, as in Linux.
    if (open.waiting == Waiting::forMaximum) {
        _log.warning(item, "given twice, the first is dropped");
    }
    open = low;
}

void LocalItems::_takeMaximum(const Item& item, Kind kind, std::uint16_t page)
{
    OpenRange& open = _openRanges[kind];
    const OpenRange high{Waiting::forMinimum, item.data, carriesPage(item), page};
    // A maximum without a minimum waits, as the two may come in either order. `finish` reports one that stays alone.
    if (open.waiting == Waiting::forMaximum) {
        const OpenRange low = open;
        open = {};
        return _closeRange(item, kind, low, high, page);
    }
    open = high;
}

void LocalItems::_closeRange(const Item& item, Kind kind, OpenRange low, OpenRange high, std::uint16_t page)
{
    if (kind == usageKind && low.isExtended != high.isExtended) {
        matchEnds(low.value, low.isExtended, high.value, high.isExtended);
        if (low.isExtended) {
            _log.warning(item, "only one end of the range carries a usage page");
        }
    }
    if (kind == usageKind && !low.isExtended && low.page != high.page) {
        _log.warning(item, "the usage page changed inside the range, its second end's counts, hosts disagree");
    }
    // A dropped range leaves its values to the usages that follow, so later controls may get wrong names; hence an
    // error.
    if (low.value > high.value) {
        return _log.error(item, "minimum above maximum, the range is dropped");
    }
    // Designators and strings were only checked for balance.
    if (kind != usageKind) {
        return;
    }
    // The range is kept all the same, with all 32-bit numbers between its ends, as Linux does.
    if (low.isExtended && low.value >> kPageShift != high.value >> kPageShift) {
        _log.error(item, "range over two usage pages");
    }
    _addUsage({low.value, high.value, page, low.isExtended});
}

void LocalItems::_takeDelimiter(const Item& item)
{
    if (item.data > 1) {
        return _log.error(item, "neither opens nor closes a set", item.data);
    }
    const bool opens = item.data == 1;
    // Sets do not nest. A faulty delimiter changes nothing.
    if (opens == _inAlternatives) {
        return _log.error(item, opens ? "set opened inside a set" : "set closed without being open");
    }
    _inAlternatives = opens;
    _hasPreferred = false;
}

void LocalItems::_addUsage(Usage usage)
{
    if (_inAlternatives) {
        // A set names one control several times, the preferred name first; the others are ignored, as in Linux. As the
        // set is one control, a range in it stands for its first usage only.
        if (_hasPreferred) {
            return;
        }
        _hasPreferred = true;
        usage.last = usage.first;
    }
    _usages.push_back(usage);
}

bool LocalItems::needsUsagePage() const
{
    return std::any_of(_usages.begin(), _usages.end(), [](const Usage& usage) { return !usage.isExtended; });
}

bool LocalItems::isEmpty() const
{
    return _usages.empty() && _openRanges[usageKind].waiting == Waiting::nothing;
}

bool LocalItems::changesPage(std::uint16_t usagePage) const
{
    return std::any_of(_usages.begin(), _usages.end(),
                       [=](const Usage& usage) { return !usage.isExtended && usage.page != usagePage; });
}

std::vector<UsageRange> LocalItems::joined(std::uint16_t usagePage) const
{
    std::vector<UsageRange> ranges(_usages.size());
    // HID 1.11, 6.2.2.8: the page that is in force at the main item counts, not the one where the usage was written.
    // Devices that write a list on several pages cannot mean that. So, as in Linux, the walk goes backwards and stops
    // replacing at the last usage that was already written on the main item's page; what comes before it keeps its
    // written page.
    bool isWrittenPageKept = false;
    for (std::size_t i = _usages.size(); i-- > 0;) {
        const Usage& usage = _usages[i];
        if (usage.isExtended) {
            ranges[i] = {usage.first, usage.last};
            continue;
        }
        isWrittenPageKept = isWrittenPageKept || usage.page == usagePage;
        const std::uint32_t page = isWrittenPageKept ? usage.page : usagePage;
        ranges[i] = {page << kPageShift | (usage.first & kUsageIDMask),
                     page << kPageShift | (usage.last & kUsageIDMask)};
    }
    return ranges;
}

void LocalItems::finish(const Item& mainItem)
{
    // A minimum without a maximum is common in padding and does no harm; a maximum alone has lost its usages.
    for (OpenRange& open : _openRanges) {
        if (open.waiting == Waiting::forMinimum) {
            _log.error(mainItem, "a maximum before it has no minimum");
        }
        if (open.waiting == Waiting::forMaximum) {
            _log.warning(mainItem, "a minimum before it has no maximum");
        }
        open = {};
    }
    if (_inAlternatives) {
        _log.error(mainItem, "a set of alternatives before it was not closed");
    }
    _inAlternatives = false;
    _usages.clear();
}

} // namespace qrx::hid
