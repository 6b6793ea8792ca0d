#pragma once

#include "CommandLine.h"
#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// Arrivals, removals and input reports, until a signal comes, the recordings are played, or enough reports have come.
/// Throws QrxRecordingError, UnknownDevice.
ExitStatus runWatch(const Options& options, std::ostream& out);

} // namespace qrxhid
