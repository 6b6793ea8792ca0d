#include "descriptor/Exchange.h"

#include "devices/DeviceDescription.h"
#include "text/DeviceText.h"

namespace qrxhid {

ExchangePartner ExchangePartner::choose(DeviceSession& session, const DeviceFilter& filter, const std::string& command)
{
    session.begin();
    ExchangePartner partner;
    // Reports are never sent to the first of several: a wrong device could obey.
    partner.handle = session.onlyDevice(command, "a report is of one").handle;
    if (partner.handle) {
        const QrxRecording described = describeDevice(*partner.handle);
        for (const QrxRecordedInterface& interface : described.getInterfaces()) {
            if (filter.hasInterface(interface.getNumber())) {
                partner.descriptors.push_back({deviceTitle(*partner.handle), DeviceIdentity::of(*partner.handle),
                                               interface.getNumber(), interface.getReportDescriptor()});
            }
        }
    }
    return partner;
}

} // namespace qrxhid
