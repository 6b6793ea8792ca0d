#pragma once

#include "CommandLine.h"
#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// One line for each device. Throws QrxRecordingError, UnknownDevice.
ExitStatus runList(const Options& options, std::ostream& out);

} // namespace qrxhid
