#pragma once

#include "QrxHIDCapability.h"
#include "QrxHIDElement.h"

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

namespace qrx {

/// The capabilities of a device by report, found in one walk over its element trees: the work is linear in the number
/// of elements, where asking the model for one report ID after another walks the trees once for each.
///
/// Only for elements of the backend's own classes, of which nobody can see that they are not asked again.
class ReportIndex {
public:
    /// Report ID and interface number.
    using Key = std::pair<std::uint32_t, int>;

    /// Adds the capabilities at and below `element`, depth first. False if one of the elements is of another class.
    bool add(const QrxHIDElementPtr& element, int interfaceNumber);

    /// By report ID, then interface number; within a report in the order of addition.
    std::map<Key, std::vector<QrxHIDCapabilityPtr>>& reports() { return _reports; }

private:
    std::map<Key, std::vector<QrxHIDCapabilityPtr>> _reports;
    /// The report of the last addition, which is nearly always the next one's as well.
    std::map<Key, std::vector<QrxHIDCapabilityPtr>>::iterator _last = _reports.end();
};

} // namespace qrx
