#pragma once

#include "CommandLine.h"
#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// The udev rule file for the one device that the options name.
ExitStatus runRule(const Options& options, std::ostream& out);

} // namespace qrxhid
