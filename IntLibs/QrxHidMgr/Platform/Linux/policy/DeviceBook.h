#pragma once

#include "HotPlugTimes.h"
#include "Linux/sysfs/DeviceScan.h"
#include "Provider/Provider.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qrx::platform {

/// The hot-plug policy: which devices are published, which are waited for, and what is done about one that changed.
///
/// Every device of the bus is in one state:
/// - unseen: nothing is known of it;
/// - waiting: it was seen, is not published, and is looked at again at a known time;
/// - published: it is in the registry; if it could not be read last time, it is looked at again at a known time;
/// - gone: it was published and has left, or is of no interest. The book keeps nothing of it; a later device of the
///   same name is unseen.
///
/// A look at a device reads it. The reason may be an event, a rescan or the clock; the result alone decides:
///
///     result        | unseen                    | waiting     | waiting, time over  | published
///     --------------+---------------------------+-------------+---------------------+---------------------------
///     unchanged     |                           |             |                     | published
///     changed       |                           |             |                     | gone, then as unseen, new
///     not compared  |                           |             |                     | published, look in reread
///     complete      | published                 | published   | published           |
///     incomplete    | waiting for deviceWait(1) | waiting     | published as it is  |
///     failed        | waiting for reread        | waiting     | published as read(2)| published, look in reread
///     scarce        | waiting for reread        | waiting     | waiting for reread  | published, look in reread
///     not HID       | unseen                    | unseen      | unseen              |
///     not there     | unseen                    | unseen      | unseen              | gone
///
/// (1) Less the time that it was connected before the observation began; published as it is when nothing is left of
///     that. A device that is new, that is, changed or first seen after the first look at everything, has all of it.
/// (2) Unseen if not even its identity was read.
///
/// If a published device fails or is not compared at the look in reread too, the clock asks for no further look: it
/// stays published until an event or a rescan looks at it again.
///
/// A wait is never prolonged by another look before its time is over. While nobody observes there is no waiting: an
/// incomplete device is published from unwatchedAge on and else left for the next look, what failed is published as
/// read, and what was scarce is left for the next look.
///
/// Why there is a wait at all: the kernel shows a device before its interfaces, drivers and report nodes. Its word that
/// it has finished with a device ("bind" of the usb_device) does not end the wait: where a driver is a module that is
/// not loaded yet, it comes before the driver does.
class DeviceBook {
public:
    using Time = std::chrono::steady_clock::time_point;

    DeviceBook(SystemCalls& calls, DeviceScan scan, const HotPlugTimes& times)
        : _calls(calls), _scan(std::move(scan)), _times(times)
    {
    }

    /// Whether somebody observes from now on, who must call `expire` in time; otherwise there is no waiting.
    void setWaiting(bool isAllowed);

    /// Looks at everything. If the bus cannot be listed (no descriptor free, a sandbox), nothing is taken to have left;
    /// while somebody observes, the rescan is then retried. Returns why it cannot be listed, as errno; 0 if it can.
    int rescan(RegistrySink& sink);
    /// An exception has ended a look: while somebody observes, everything is to be looked at again.
    void oweRescan();
    /// True if the last rescan failed, or an exception has ended a look: what is published may be wrong, and no event
    /// says so.
    bool owesRescan() const { return _owedSince.has_value(); }
    /// True if it is time to retry.
    bool isRescanDue() const { return _owedSince && _calls.now() >= *_owedSince + _times.rescanRetry; }
    /// Looks at one device again.
    void look(const std::string& name, RegistrySink& sink) { look(name, sink, Look::early); }
    /// The device was seen to leave: a later device of this name is new, and is waited for from the beginning.
    void restart(const std::string& name);
    /// Looks at the devices whose time is over, the longest waiting first.
    void expire(RegistrySink& sink);
    /// When `expire`, or a rescan that is owed, has something to do; no value if nothing is waited for.
    std::optional<Time> nextExpiry() const;

private:
    struct Published {
        DeviceKey key = 0;
        DeviceOutline outline;
        std::shared_ptr<DeviceAccess> access;
    };
    /// What the book keeps of a device that is waiting or published; of others there is no entry.
    struct Entry {
        std::optional<Published> published;
        /// When it is looked at again, whatever happens until then.
        std::optional<Time> until;
        /// For leaveUnlisted.
        bool isListed = false;
    };
    /// Whether the time of the device is over at this look.
    enum class Look { early, timeOver };

    void look(const std::string& name, RegistrySink& sink, Look kind);
    void consider(const ListedDevice& device, RegistrySink& sink, Look kind);
    bool isUnchanged(const ListedDevice& device, const Published& known, Look kind);
    void considerIncomplete(const std::string& name, ScannedDevice& scanned, RegistrySink& sink, bool isChange);
    std::chrono::milliseconds patienceWith(const std::string& name, bool isChange);
    void waitFor(const std::string& name, std::chrono::milliseconds duration);
    void retry(const std::string& name, Look kind);
    bool isWaitedFor(const std::string& name) const;
    void stopWaiting(const std::string& name);
    /// Leaves nothing in `scanned`.
    void publish(const std::string& name, ScannedDevice& scanned, RegistrySink& sink);
    void leave(const std::string& name, RegistrySink& sink);
    void leaveUnlisted(const std::vector<ListedDevice>& devices, RegistrySink& sink);

    SystemCalls& _calls;
    DeviceScan _scan;
    const HotPlugTimes _times;
    bool _mayWait = false;
    /// Whether everything has been looked at since waiting was allowed or forbidden.
    bool _hasLooked = false;
    /// When a rescan failed; no value after one that did not.
    std::optional<Time> _owedSince;
    std::map<std::string, Entry> _entries;
};

} // namespace qrx::platform
