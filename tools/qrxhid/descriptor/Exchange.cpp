#include "descriptor/Exchange.h"

#include "devices/DeviceDescription.h"
#include "text/DeviceText.h"
#include "text/Notice.h"

#include <iostream>

namespace qrxhid {

ExchangePartner ExchangePartner::choose(DeviceSession& session, const DeviceFilter& filter, const std::string& command)
{
    session.begin();
    ExchangePartner partner;
    partner.handle = session.onlyDevice(command, "a report is of one").handle;
    if (partner.handle) {
        for (const QrxRecordedInterface& interface : describeDevice(*partner.handle).interfaces) {
            if (filter.hasInterface(interface.number)) {
                partner.descriptors.push_back({deviceTitle(*partner.handle), DeviceIdentity::of(*partner.handle),
                                               interface.number, interface.reportDescriptor});
            }
        }
    }
    return partner;
}

ExitStatus statusOf(const QrxOutcome& outcome, const QrxHIDDevice& device)
{
    if (!outcome.hasFailed()) {
        return kSuccess;
    }
    notice(outcome.getMessage());
    const bool isRefused = outcome.getError() == QrxError::noPermission;
    if (isRefused) {
        std::cerr << "Try: qrxhid doctor " << DeviceIdentity::of(device).text() << "\n";
    }
    return isRefused ? kNoPermission : kFailure;
}

} // namespace qrxhid
