#pragma once

#include "CommandLine.h"
#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// Interfaces, elements and reports of each device. Throws QrxRecordingError, UnknownDevice.
ExitStatus runTree(const Options& options, std::ostream& out);

} // namespace qrxhid
