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

/// One end of a range has a page of its own and the other has not. A page of 0 is no page; any other is meant for both.
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
        const OpenRange high = open;
        open = {};
        return _closeRange(item, kind, low, high, page);
    }
    if (open.waiting == Waiting::forMaximum) {
        _log.warning(item, "given twice, the first is dropped");
    }
    open = low;
}

void LocalItems::_takeMaximum(const Item& item, Kind kind, std::uint16_t page)
{
    OpenRange& open = _openRanges[kind];
    const OpenRange high{Waiting::forMinimum, item.data, carriesPage(item), page};
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
    if (low.value > high.value) {
        return _log.error(item, "minimum above maximum, the range is dropped");
    }
    if (kind != usageKind) {
        return;
    }
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
    if (opens == _inAlternatives) {
        return _log.error(item, opens ? "set opened inside a set" : "set closed without being open");
    }
    _inAlternatives = opens;
    _hasPreferred = false;
}

void LocalItems::_addUsage(const Usage& usage)
{
    if (!_inAlternatives) {
        _usages.push_back(usage);
        return;
    }
    // A set names one control several times, the preferred name first; the others are not looked at, as in Linux. As it
    // is one control, the first usage of a range stands for it.
    if (_hasPreferred) {
        return;
    }
    _hasPreferred = true;
    _usages.push_back({usage.first, usage.first, usage.page, usage.isExtended});
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
    // HID 1.11, 6.2.2.8: the page comes from the main item. A list that was itself written on several pages cannot mean
    // that: like Linux, stop replacing at the last usage that was already written on the main item's page.
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
