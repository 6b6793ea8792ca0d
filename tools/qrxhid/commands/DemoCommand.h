#pragma once

#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

/// Virtual devices arrive, are shown as trees, deliver input, take reports, leave and come back. Every step is checked;
/// success means that all of it really happened.
ExitStatus runDemo(std::ostream& out);

} // namespace qrxhid
