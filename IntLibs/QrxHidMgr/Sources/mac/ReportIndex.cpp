#include "ReportIndex.h"

#include "ExactClass.h"
#include "QrxHIDCapabilityImpl.h"
#include "QrxHIDCollectionImpl.h"

#include <algorithm>
#include <utility>

namespace qrx {

bool ReportIndex::add(const QrxHIDElementPtr& element, int interfaceNumber)
{
    if (const auto* collection = exactly<const _QrxHIDCollectionImpl>(element.get())) {
        // The recursion is as deep as the descriptor nests collections, which the reader of descriptors limits.
        const std::size_t count = collection->getElementCount();
        for (unsigned int index = 0; index < count; ++index) {
            if (!add(collection->getElementAtIndex(index), interfaceNumber)) {
                return false;
            }
        }
        return true;
    }
    auto* capability = exactly<_QrxHIDCapabilityImpl>(element.get());
    if (capability == nullptr) {
        // A class of somebody else may override the operations that this walk does not call; the caller then asks the
        // model.
        return false;
    }
    const std::uint32_t reportID = capability->getReportID();
    if (_runs.empty() || _runs.back().reportID != reportID || _runs.back().interfaceNumber != interfaceNumber) {
        // Fields of one report mostly follow each other in the descriptor, so there are about as many runs as reports,
        // and the sort below moves runs, not fields.
        _runs.push_back({reportID, interfaceNumber, {}});
    }
    _runs.back().capabilities.emplace_back(capability);
    return true;
}

std::vector<ReportIndex::Report> ReportIndex::takeReports()
{
    // The place keeps several runs of one report in the order of the tree. Pairs are sorted because std::sort for them
    // is instantiated already. The number of an interface is one byte, never negative.
    const auto keyOf = [](const Report& report) {
        return std::uint64_t{report.reportID} << 32 | static_cast<std::uint32_t>(report.interfaceNumber);
    };
    std::vector<std::pair<std::uint64_t, std::size_t>> order;
    for (std::size_t place = 0; place < _runs.size(); ++place) {
        order.emplace_back(keyOf(_runs[place]), place);
    }
    std::sort(order.begin(), order.end());
    std::vector<Report> reports;
    for (const auto& [key, place] : order) {
        Report& run = _runs[place];
        if (reports.empty() || keyOf(reports.back()) != key) {
            reports.push_back(std::move(run));
            continue;
        }
        for (QrxHIDCapabilityPtr& capability : run.capabilities) {
            reports.back().capabilities.push_back(std::move(capability));
        }
    }
    _runs.clear();
    return reports;
}

} // namespace qrx
