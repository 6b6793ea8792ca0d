#include "devices/ChangeFilter.h"

#include <utility>

namespace qrxhid {

ChangeFilter::ValueKey ChangeFilter::keyOf(const QrxDecodedValue& value)
{
    // A key moves from slot to slot of an array while it is held, so its place says nothing; of variable fields, two
    // may have the same usage.
    const std::size_t place = value.isArraySelection() ? 0 : value.getBitOffset();
    return {value.getUsagePage(), value.getUsage(), place, value.isArraySelection()};
}

// An array lists what it shows and not what it does not: a key that is released is one that is missing this time.
std::vector<QrxDecodedValue> ChangeFilter::changes(int interfaceNumber, std::uint32_t reportID,
                                                   const std::vector<QrxDecodedValue>& values)
{
    Values& last = _last[{interfaceNumber, reportID}];
    Values present;
    std::vector<QrxDecodedValue> changed;
    for (const QrxDecodedValue& value : values) {
        const ValueKey key = keyOf(value);
        const auto known = last.find(key);
        // A relative value tells of a movement, so the same one twice is two movements. What was never seen counts as
        // 0.
        const std::int64_t before = known == last.end() || value.isRelative() ? 0 : known->second.getValue();
        if (value.getValue() != before) {
            changed.push_back(value);
        }
        present.insert_or_assign(key, value);
    }
    for (const auto& [key, value] : last) {
        if (value.isArraySelection() && !present.contains(key)) {
            changed.push_back(value.withValue(0));
        }
    }
    last = std::move(present);
    return changed;
}

} // namespace qrxhid
