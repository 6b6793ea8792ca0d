#pragma once

#include "ExitStatus.h"

#include "QrxHIDDevice.h"
#include "QrxOutcome.h"

namespace qrxhid {

/// Tells a failure on standard error, with the next step where there is one, and gives the status for it.
ExitStatus toldStatus(const QrxOutcome& outcome, const QrxHIDDevice& device);

} // namespace qrxhid
