#pragma once

#include "CommandLine.h"
#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// Whether each device can be used, and if not, why and what would help. Opens no report node.
ExitStatus runDoctor(const Options& options, std::ostream& out);

} // namespace qrxhid
