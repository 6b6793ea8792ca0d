#pragma once

#include "HID/ElementTree.h"

#include <string>

namespace qrx::hid {

/// What holds for every descriptor, however wrong: the first rule that is broken, in words; empty if all hold.
std::string brokenInvariant(const Descriptor& descriptor, const ElementTree& tree, const Limits& limits = {});

} // namespace qrx::hid
