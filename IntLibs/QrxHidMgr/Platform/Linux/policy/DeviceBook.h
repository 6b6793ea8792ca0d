#pragma once

#include "ArrivalGate.h"
#include "Linux/sysfs/DeviceScan.h"
#include "Provider/Provider.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace qrx::platform {

/// Which devices are published and which are waited for, and what is to be done about one that has changed. Every look
/// at a device ends in one of the same few outcomes, whether an event, a rescan or the clock was the reason, so the
/// same device is never published twice nor terminated twice.
class DeviceBook {
public:
    DeviceBook(SystemCalls& calls, DeviceScan scan, std::chrono::milliseconds settleTime)
        : _calls(calls), _scan(std::move(scan)), _settleTime(settleTime)
    {
    }

    /// While devices are waited for, somebody must call `expire`; otherwise an incomplete one is published or left for
    /// the next look.
    void setWaiting(bool isAllowed);

    /// Looks at everything. While devices are waited for, a look that cannot be had (no descriptor free) is still owed.
    void rescan(RegistrySink& sink);
    /// An exception has ended a look: while devices are waited for, everything is to be looked at again.
    void oweRescan();
    /// True if the last look at everything could not be had: what is published may be wrong, and no event says so.
    bool owesRescan() const { return _owedSince.has_value(); }
    /// True if it is time to try again.
    bool isRescanDue() const { return _owedSince && _calls.now() >= *_owedSince + _settleTime; }
    /// Looks at one device again.
    void look(const std::string& name, RegistrySink& sink) { look(name, sink, Patience::fresh); }
    /// The device was seen to leave: should one be there of that name, it is another.
    void restart(const std::string& name) { _gate.forget(name); }
    /// Publishes the devices whose time has come.
    void expire(RegistrySink& sink);
    /// When `expire`, or a rescan that is owed, has something to do.
    std::optional<ArrivalGate::Time> nextExpiry() const;

private:
    struct Published {
        DeviceKey key = 0;
        DeviceOutline outline;
        std::shared_ptr<DeviceAccess> access;
    };
    using Records = std::map<std::string, Published>;

    /// Whether what is missing may still be waited for.
    enum class Patience { fresh, ended };

    void look(const std::string& name, RegistrySink& sink, Patience patience);
    void consider(const ListedDevice& device, RegistrySink& sink, Patience patience);
    void askAgain(const std::string& name, Patience patience);
    bool mustWait(const std::string& name, bool isChange);
    void leave(const std::string& name, RegistrySink& sink);
    void leaveUnlisted(const std::vector<ListedDevice>& devices, RegistrySink& sink);
    void publish(const std::string& name, ScannedDevice scanned, RegistrySink& sink);

    SystemCalls& _calls;
    DeviceScan _scan;
    const std::chrono::milliseconds _settleTime;
    bool _mayWait = false;
    /// Whether everything has been looked at since waiting was allowed or forbidden.
    bool _hasLooked = false;
    /// When a look at everything failed; no value after one that did not.
    std::optional<ArrivalGate::Time> _owedSince;
    Records _records;
    ArrivalGate _gate;
};

} // namespace qrx::platform
