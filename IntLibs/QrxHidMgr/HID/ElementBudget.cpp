// How many entries of the element table each field may have. A few bytes of a descriptor can declare 2^32 usages, so
// the table is limited as a whole. If all fields fit, each gets what it wants. If not, duplicates that no tree shows
// are left out first, everywhere alike; if that is not enough, the largest fields are cut to one common size. So a blob
// of bytes does not cost a keyboard on the same interface its keys.

#include "ElementBudget.h"

#include "ElementTree.h"
#include "FieldRules.h"

#include <algorithm>
#include <numeric>

namespace qrx::hid {

namespace {

const char* nameOf(const Field& field)
{
    switch (field.type) {
    case ReportType::output:
        return "Output";
    case ReportType::feature:
        return "Feature";
    case ReportType::input:
        break;
    }
    return "Input";
}

std::uint64_t entriesOf(const Field& field, bool withHiddenDuplicates)
{
    if (isPadding(field) || !canTravel(field.reportID)) {
        return 0;
    }
    // The counts follow `ElementTreeBuilder`, which stops at the share: an array makes a head, a slot for each entry if
    // there is more than one, and a selector for each usage.
    const std::uint64_t usages = usageCount(field);
    if (!field.isVariable()) {
        return 1 + (field.count > 1 ? field.count : 0) + usages;
    }
    // One bit for each usage. Bits without a usage are padding and make no element.
    if (isButton(field)) {
        return usages;
    }
    const std::uint32_t repeats = lastUsageCount(field);
    const bool makesDuplicates = repeats > 1 && (withHiddenDuplicates || repeats <= kMaximumPublishedDuplicates);
    return usages + (makesDuplicates ? repeats : 0);
}

} // namespace

std::uint64_t largestShare(const std::vector<std::uint64_t>& wanted, std::uint64_t room)
{
    const auto fits = [&](std::uint64_t share) {
        std::uint64_t left = room;
        for (const std::uint64_t amount : wanted) {
            const std::uint64_t granted = std::min(amount, share);
            if (granted > left) {
                return false;
            }
            left -= granted;
        }
        return true;
    };
    // A larger share needs no less room, so the largest that fits is found by bisection.
    std::uint64_t fitting = 0;
    std::uint64_t largest = room;
    while (fitting < largest) {
        const std::uint64_t share = fitting + (largest - fitting + 1) / 2;
        if (fits(share)) {
            fitting = share;
        } else {
            largest = share - 1;
        }
    }
    return fitting;
}

std::uint64_t wantedEntries(const std::vector<Field>& fields)
{
    return std::accumulate(fields.begin(), fields.end(), std::uint64_t{0},
                           [](std::uint64_t sum, const Field& field) { return sum + entriesOf(field, true); });
}

ElementBudget::ElementBudget(const std::vector<Field>& fields, std::size_t room, DiagnosisLog& log)
    : _entries(fields.size())
{
    _count(fields);
    if (_total <= room) {
        return;
    }
    _makesHiddenDuplicates = false;
    // A copy, because the diagnoses say how many entries each field has lost.
    const std::vector<std::uint64_t> all = _entries;
    _count(fields);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        // A warning and not an error: the descriptor keeps the rules, and its reports can be read; only the tree shows
        // less.
        if (_entries[i] != all[i]) {
            log.warning(fields[i].offset, nameOf(fields[i]),
                        "too many elements, its unpublished duplicates are left out",
                        static_cast<std::int64_t>(all[i] - _entries[i]));
        }
    }
    if (_total > room) {
        _cutLargest(fields, room, log);
    }
}

void ElementBudget::_cutLargest(const std::vector<Field>& fields, std::size_t room, DiagnosisLog& log)
{
    const std::uint64_t largest = largestShare(_entries, room);
    for (std::size_t i = 0; i < fields.size(); ++i) {
        if (_entries[i] <= largest) {
            continue;
        }
        log.warning(fields[i].offset, nameOf(fields[i]), "more elements than the limit leaves room for, left out",
                    static_cast<std::int64_t>(_entries[i] - largest));
        _total -= _entries[i] - largest;
        _entries[i] = largest;
    }
}

void ElementBudget::_count(const std::vector<Field>& fields)
{
    _total = 0;
    for (std::size_t i = 0; i < fields.size(); ++i) {
        _total += _entries[i] = entriesOf(fields[i], _makesHiddenDuplicates);
    }
}

} // namespace qrx::hid
