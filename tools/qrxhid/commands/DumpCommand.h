#pragma once

#include "CommandLine.h"
#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// Each device as the library prints it. Throws QrxRecordingError, UnknownDevice.
ExitStatus runDump(const Options& options, std::ostream& out);

} // namespace qrxhid
