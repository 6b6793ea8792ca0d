#pragma once

#include "devices/DeviceFilter.h"

#include "QrxRecording.h"

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace qrxhid {

/// A device, as a page shows it.
struct PageSubject {
    /// The device; one of the machine has no events.
    QrxRecording recording;
    /// Where it comes from: "recording mouse.hid", "device at 1-2.1".
    std::string source;
    bool isLive = false;
    /// Serial numbers tell whose device it is, and pages are shown to others.
    bool showsSerialNumber = false;
};

/// All that a page tells of a device and of those of its interfaces that the filter lets pass. What each member means
/// is said where it is read, in page/device.js. Texts are as they may be shown to a person.
nlohmann::ordered_json pageData(const PageSubject& subject, const DeviceFilter& filter);

} // namespace qrxhid
