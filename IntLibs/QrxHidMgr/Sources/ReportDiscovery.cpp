#include "ReportDiscovery.h"

#include "QrxHIDCollection.h"

#include <algorithm>
#include <iterator>

namespace {

void insertOnce(unsigned int reportID, std::vector<unsigned int>& reportIDs)
{
    const auto place = std::lower_bound(reportIDs.begin(), reportIDs.end(), reportID);
    if (place == reportIDs.end() || *place != reportID) {
        reportIDs.insert(place, reportID);
    }
}

} // namespace

void insertReportIDs(const QrxHIDElementPtr& element, std::vector<unsigned int>& reportIDs)
{
    if (element->isCollection()) {
        if (auto* const collection = dynamic_cast<QrxHIDCollection*>(element.get())) {
            for (const unsigned int reportID : collection->_findReportIDs()) {
                insertOnce(reportID, reportIDs);
            }
        }
    }
    if (element->isCapability()) {
        insertOnce(element->getReportID(), reportIDs);
    }
}

void appendCapabilities(const QrxHIDElementPtr& element, unsigned int reportID,
                        std::vector<QrxHIDCapabilityPtr>& capabilities)
{
    if (element->isCollection()) {
        // An application's double may say that it is a collection without being one; then it has no children to ask.
        if (auto* const collection = dynamic_cast<QrxHIDCollection*>(element.get())) {
            std::vector<QrxHIDCapabilityPtr> below = collection->_findCapabilitiesByReportID(reportID);
            std::move(below.begin(), below.end(), std::back_inserter(capabilities));
        }
    }
    if (element->isCapability() && element->getReportID() == reportID) {
        capabilities.push_back(QrxHIDCapabilityPtr(dynamic_cast<QrxHIDCapability*>(element.get())));
    }
}
