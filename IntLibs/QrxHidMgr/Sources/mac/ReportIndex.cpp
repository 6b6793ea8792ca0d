#include "ReportIndex.h"

#include "ExactClass.h"
#include "QrxHIDCapabilityImpl.h"
#include "QrxHIDCollectionImpl.h"

namespace qrx {

bool ReportIndex::add(const QrxHIDElementPtr& element, int interfaceNumber)
{
    if (const auto* collection = exactly<const _QrxHIDCollectionImpl>(element.get())) {
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
        return false;
    }
    const Key key(capability->getReportID(), interfaceNumber);
    if (_last == _reports.end() || _last->first != key) {
        _last = _reports.try_emplace(key).first;
    }
    _last->second.emplace_back(capability);
    return true;
}

} // namespace qrx
