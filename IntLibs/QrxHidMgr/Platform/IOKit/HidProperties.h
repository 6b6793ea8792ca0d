#pragma once

#include "CFRef.h"
#include "HID/ElementTree.h"
#include "Provider/Provider.h"

namespace qrx::iokit {

/// The properties of a HID driver: identity, sizes, usages, and the nested element dictionaries.
///
/// Beyond the platform's keys each field element carries "ReportBitOffset": where its value begins, in bits from the
/// first bit of the report as it travels. Collections and report handlers have none. `elements` become "Elements".
CFRef<CFDictionaryRef> makeHidProperties(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface,
                                         const hid::ElementTree& tree, CFArrayRef elements);

} // namespace qrx::iokit
