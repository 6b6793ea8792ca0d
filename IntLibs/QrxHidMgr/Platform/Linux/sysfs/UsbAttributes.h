#pragma once

#include "SysfsDirectory.h"
#include "UsbDescriptors.h"

#include <string>

namespace qrx::platform {

/// The same facts as in a device's `descriptors`, one text file each, for where that file is missing or broken. It
/// takes many more calls and tells of the present alternate settings only.

/// False if not even the device's ids can be read. There is no configuration in what is given.
bool readDeviceAttributes(const SysfsDirectory& device, UsbDescriptors& facts);

/// `directory` is the interface's folder below the device's. False if its number or class cannot be read.
bool readInterfaceAttributes(const SysfsDirectory& device, const std::string& directory,
                             UsbDescriptors::Interface& facts);

} // namespace qrx::platform
