#pragma once

#include "CoreFoundation/CFRef.h"
#include "HID/ElementTree.h"
#include "Provider/Provider.h"

namespace qrx::iokit {

/// The properties of a HID driver: identity, sizes, usages, and the nested element dictionaries. `elements` become
/// "Elements".
CFRef<CFDictionaryRef> makeHidProperties(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface,
                                         const hid::ElementTree& tree, CFArrayRef elements);

} // namespace qrx::iokit
