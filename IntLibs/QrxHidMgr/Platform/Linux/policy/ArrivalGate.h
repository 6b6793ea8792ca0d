#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qrx::platform {

/// The devices that have been seen but are not complete yet, each with the moment until which it is waited for. Knows
/// names and times alone; asks and tells nobody.
///
/// A device may be announced as soon as all of it is there, or with what there is when its time has come. The kernel's
/// word that it has finished with a device ("bind" of the usb_device) is no such moment: where a driver is a module
/// that is not loaded yet, it comes before the driver does.
class ArrivalGate {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Waits for the device until then; one that is waited for already keeps its earlier moment.
    void wait(const std::string& device, Time until) { _waiting.try_emplace(device, until); }
    bool isWaiting(const std::string& device) const { return _waiting.contains(device); }
    /// The device has been announced, or has left.
    void forget(const std::string& device) { _waiting.erase(device); }
    void forgetAll() { _waiting.clear(); }

    std::vector<std::string> devices() const;
    /// Takes out the devices whose time has come, the longest waiting first.
    std::vector<std::string> takeExpired(Time now);
    /// When takeExpired will have something next; no value if nothing is waited for.
    std::optional<Time> nextExpiry() const;

private:
    std::map<std::string, Time> _waiting;
};

} // namespace qrx::platform
