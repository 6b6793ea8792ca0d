#pragma once

#include <chrono>

namespace qrx::platform {

/// How long the hot-plug policy has patience, and with what. From a device's first event to its last report node the
/// kernel needs 15 to 300 ms (measured under QEMU), and more where a driver's module is loaded first; udevd's rules
/// take another 0.1 s. The times leave room for slow machines. Waiting delays only what stays incomplete, such as a
/// device whose driver makes no report node.
struct HotPlugTimes {
    using Duration = std::chrono::milliseconds;

    /// While somebody observes: how long a device is waited for that has not all of its HID interfaces yet.
    Duration deviceWait{1000};
    /// While nobody observes: the age from which such a device is published as it is.
    Duration unwatchedAge{1000};
    /// After how long a device that could not be read or compared is looked at again.
    Duration reread{1000};
    /// After how long the bus is listed again when it could not be listed.
    Duration rescanRetry{1000};
    /// The age from which a report node is taken as it is, whether or not udevd is known to be done with it.
    Duration nodeAge{1000};
    /// How often everything is looked at where no event can be heard.
    Duration rescanInterval{2000};
    /// How long after the last change of the device folder everything is looked at, where udevd's events may not
    /// arrive; at most four times as long after the first change of a series.
    Duration lateRescan{2000};
};

} // namespace qrx::platform
