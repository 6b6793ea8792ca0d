#pragma once

#include "support/GuestFiles.h"

#include <cstddef>
#include <cstdint>

namespace qrx::guest {

/// Report types as HID class requests number them (HID 1.11, 7.2.1).
enum class UsbReportType : std::uint8_t { input = 1, output = 2, feature = 3 };

/// A report that a device of ours was sent by the host.
struct SentReport {
    /// 0 for devices with one interface.
    std::size_t interface = 0;
    UsbReportType type = UsbReportType::output;
    /// The number in the request; for an interrupt transfer always 0, its number is in the bytes.
    std::uint8_t reportID = 0;
    bool byControlRequest = false;
    /// As the device got it.
    Bytes bytes;
};

} // namespace qrx::guest
