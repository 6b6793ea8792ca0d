#pragma once

#include "Linux/sysfs/SysfsDirectory.h"

#include <string>

namespace qrxhid {

/// A text attribute of sysfs without its newline; empty if there is none.
inline std::string attributeText(const qrx::platform::SysfsDirectory& directory, const std::string& name)
{
    std::string text;
    directory.read(name, text);
    return text.substr(0, text.find('\n'));
}

} // namespace qrxhid
