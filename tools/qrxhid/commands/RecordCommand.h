#pragma once

#include "CommandLine.h"
#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// Writes a device and its input as a recording. Throws QrxRecordingError, UnknownDevice.
ExitStatus runRecord(const Options& options, std::ostream& out);

} // namespace qrxhid
