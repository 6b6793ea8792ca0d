#pragma once

#include "QrxHIDCapability.h"
#include "QrxHIDElement.h"

#include <cstdint>
#include <vector>

namespace qrx {

/// The capabilities of a device by report, found in one walk over its element trees. The work is linear in the number
/// of elements; asking the model for one report ID after another walks the trees once for each.
///
/// Only for elements of the backend's own classes: nobody can observe that their operations are not called.
class ReportIndex {
public:
    struct Report {
        std::uint32_t reportID;
        int interfaceNumber;
        std::vector<QrxHIDCapabilityPtr> capabilities;
    };

    /// Adds the capabilities at and below `element`, depth first. False if one of the elements is of another class.
    bool add(const QrxHIDElementPtr& element, int interfaceNumber);

    /// By report ID, then interface number, each pair once; the capabilities of a report in the order of addition.
    std::vector<Report> takeReports();

private:
    /// A new one wherever the next capability belongs to another report than the last.
    std::vector<Report> _runs;
};

} // namespace qrx
