#include "devices/OutcomeStatus.h"

#include "devices/DeviceIdentity.h"
#include "text/Notice.h"

#include <iostream>

namespace qrxhid {

ExitStatus toldStatus(const QrxOutcome& outcome, const QrxHIDDevice& device)
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
