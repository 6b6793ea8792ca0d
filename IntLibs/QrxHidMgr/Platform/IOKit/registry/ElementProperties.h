#pragma once

#include "CoreFoundation/CFRef.h"
#include "HID/ElementTree.h"

namespace qrx::iokit {

/// "Elements": the top-level elements of an interface, each with its children nested. In linear time; nesting as deep
/// as the tree's.
CFRef<CFArrayRef> makeElements(const hid::ElementTree& tree);

/// "InputReportElements": one dictionary per report handler.
CFRef<CFArrayRef> makeReportHandlers(const hid::ElementTree& tree);

} // namespace qrx::iokit
