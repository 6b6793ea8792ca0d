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
    // The one failure that a person can mend alone, and that scripts ask for: it has a status of its own.
    const bool isRefused = outcome.getError() == QrxError::noPermission;
    if (isRefused) {
        std::cerr << "Try: qrxhid doctor " << DeviceIdentity::of(device).text() << "\n";
    }
    return isRefused ? kNoPermission : kFailure;
}

} // namespace qrxhid
