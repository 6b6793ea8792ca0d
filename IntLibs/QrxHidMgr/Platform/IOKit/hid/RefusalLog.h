#pragma once

#include "Provider/Provider.h"

#include <IOKit/IOReturn.h>

#include <cstdint>
#include <optional>

namespace qrx::iokit {

/// For those who want to know (level info), since the platform's callers seldom look at results: one line for an
/// interface that could not be opened.
void tellRefusedOpen(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface, IOReturn result);

/// The same for a report that could not be sent.
void tellRefusedReport(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface,
                       std::uint32_t type, std::uint32_t reportID, IOReturn result);

} // namespace qrx::iokit
