#include "DeviceBook.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace qrx::platform {

void DeviceBook::setWaiting(bool isAllowed)
{
    _mayWait = isAllowed;
    _hasLooked = false;
    _owedSince.reset();
    if (!isAllowed) {
        for (auto& [name, entry] : _entries) {
            entry.until.reset();
        }
        // Without an observer `expire` is not called; devices that were waited for are unseen again.
        std::erase_if(_entries, [](const auto& one) { return !one.second.published; });
    }
}

void DeviceBook::oweRescan()
{
    _owedSince = _mayWait ? std::optional(_calls.now()) : std::nullopt;
}

int DeviceBook::rescan(RegistrySink& sink)
{
    std::vector<ListedDevice> devices;
    _owedSince.reset();
    if (!_scan.list(devices)) {
        const int error = errno;
        // A failure says nothing about which devices are there.
        oweRescan();
        return error;
    }
    leaveUnlisted(devices, sink);
    for (const ListedDevice& device : devices) {
        consider(device, sink, Look::early);
    }
    _hasLooked = true;
    return 0;
}

void DeviceBook::leaveUnlisted(const std::vector<ListedDevice>& devices, RegistrySink& sink)
{
    for (auto& [name, entry] : _entries) {
        entry.isListed = false;
    }
    for (const ListedDevice& device : devices) {
        const auto known = _entries.find(device.name);
        if (known != _entries.end()) {
            known->second.isListed = true;
        }
    }
    std::vector<std::pair<DeviceKey, std::string>> left;
    for (auto& [name, entry] : _entries) {
        if (!entry.isListed) {
            entry.until.reset();
            // Collected first: leaving changes the book.
            left.emplace_back(entry.published ? entry.published->key : 0, name);
        }
    }
    // Ends are announced in the order of the arrivals, in which the registry gives ascending keys.
    std::sort(left.begin(), left.end());
    for (const auto& [key, name] : left) {
        leave(name, sink);
    }
}

void DeviceBook::restart(const std::string& name)
{
    stopWaiting(name);
}

void DeviceBook::look(const std::string& name, RegistrySink& sink, Look kind)
{
    ListedDevice device;
    switch (_scan.list(name, device)) {
    case DeviceScan::Result::complete:
        consider(device, sink, kind);
        break;
    case DeviceScan::Result::gone:
        leave(name, sink);
        stopWaiting(name);
        break;
    case DeviceScan::Result::scarce:
        retry(name, Look::early);
        break;
    default:
        retry(name, kind);
        break;
    }
}

void DeviceBook::consider(const ListedDevice& device, RegistrySink& sink, Look kind)
{
    const auto known = _entries.find(device.name);
    const bool isChange = known != _entries.end() && known->second.published;
    if (isChange) {
        if (isUnchanged(device, *known->second.published, kind)) {
            return;
        }
        // A device never changes in the registry: it leaves, and what is there now arrives as a new one.
        leave(device.name, sink);
    }
    ScannedDevice scanned;
    switch (_scan.read(device, scanned)) {
    case DeviceScan::Result::complete:
        publish(device.name, scanned, sink);
        break;
    case DeviceScan::Result::incomplete:
        if (kind == Look::timeOver) {
            publish(device.name, scanned, sink);
        } else {
            considerIncomplete(device.name, scanned, sink, isChange);
        }
        break;
    case DeviceScan::Result::scarce:
        // The lack is this machine's, not the device's, so there is no limit to the retries.
        retry(device.name, Look::early);
        break;
    case DeviceScan::Result::failed:
        if (_mayWait && kind == Look::early) {
            retry(device.name, kind);
        } else if (scanned.access != nullptr) {
            // No retry is left: publish what was read.
            publish(device.name, scanned, sink);
        }
        break;
    case DeviceScan::Result::notHID:
    case DeviceScan::Result::gone:
        stopWaiting(device.name);
        break;
    }
}

/// Whether the published device stays, because it is as it was or could not be compared.
bool DeviceBook::isUnchanged(const ListedDevice& device, const Published& known, Look kind)
{
    const DeviceScan::Comparison comparison = _scan.compare(device, known.outline);
    if (comparison == DeviceScan::Comparison::unknown) {
        retry(device.name, kind);
    } else if (comparison == DeviceScan::Comparison::scarce) {
        // As where it could not be read at all: without a limit.
        retry(device.name, Look::early);
    }
    return comparison != DeviceScan::Comparison::different;
}

/// `isChange`: it was published a moment ago and looked different then.
void DeviceBook::considerIncomplete(const std::string& name, ScannedDevice& scanned, RegistrySink& sink, bool isChange)
{
    if (isWaitedFor(name)) {
        return;
    }
    const std::chrono::milliseconds patience = patienceWith(name, isChange);
    if (patience <= std::chrono::milliseconds(0)) {
        publish(name, scanned, sink);
    } else if (_mayWait) {
        waitFor(name, patience);
    }
}

/// How much longer what is missing may take to come.
std::chrono::milliseconds DeviceBook::patienceWith(const std::string& name, bool isChange)
{
    constexpr std::chrono::milliseconds kNone{0};
    if (!_mayWait) {
        // Nobody observes: a young device is left to the next enumeration. One of unknown age is taken as it is.
        return isChange ? kNone : _times.unwatchedAge - _scan.age(name).value_or(_times.unwatchedAge);
    }
    // A device that was not there at the first look is being set up now, however long ago it was connected: the kernel
    // may have needed several attempts before it showed the device.
    const bool isNew = isChange || _hasLooked;
    return _times.deviceWait - (isNew ? kNone : _scan.age(name).value_or(kNone));
}

/// A device that is waited for already keeps its earlier time.
void DeviceBook::waitFor(const std::string& name, std::chrono::milliseconds duration)
{
    Entry& entry = _entries[name];
    if (!entry.until) {
        // The clock is asked only when a wait begins, not at each look.
        entry.until = _calls.now() + duration;
    }
}

/// Waits for another look at what could not be read or compared, since no event will ask for one; but not after a look
/// whose time was over. Callers pass `early` where retries have no limit.
void DeviceBook::retry(const std::string& name, Look kind)
{
    if (_mayWait && kind == Look::early) {
        waitFor(name, _times.reread);
    }
}

bool DeviceBook::isWaitedFor(const std::string& name) const
{
    const auto found = _entries.find(name);
    return found != _entries.end() && found->second.until;
}

void DeviceBook::stopWaiting(const std::string& name)
{
    const auto found = _entries.find(name);
    if (found == _entries.end()) {
        return;
    }
    found->second.until.reset();
    if (!found->second.published) {
        _entries.erase(found);
    }
}

void DeviceBook::publish(const std::string& name, ScannedDevice& scanned, RegistrySink& sink)
{
    // The entry first: if there is no memory for it, the device must not be in the registry, where it would be
    // published again and never leave.
    Entry& entry = _entries[name];
    DeviceKey key = 0;
    try {
        key = sink.publish(std::move(scanned.facts));
    } catch (...) {
        if (!entry.until) {
            _entries.erase(name);
        }
        throw;
    }
    entry.published = Published{key, std::move(scanned.outline), std::move(scanned.access)};
    entry.until.reset();
}

/// The wait, if there is one, goes on: it is for whatever has this name.
void DeviceBook::leave(const std::string& name, RegistrySink& sink)
{
    const auto found = _entries.find(name);
    if (found == _entries.end()) {
        return;
    }
    // Out of the book before the registry hears of it: an exception on the way must not leave an entry for a device
    // that has gone.
    const std::optional<Published> published = std::exchange(found->second.published, std::nullopt);
    if (!found->second.until) {
        _entries.erase(found);
    }
    if (published) {
        published->access->leave();
        sink.terminate(published->key);
    }
}

std::optional<DeviceBook::Time> DeviceBook::nextExpiry() const
{
    std::optional<Time> next;
    if (_owedSince) {
        next = *_owedSince + _times.rescanRetry;
    }
    for (const auto& [name, entry] : _entries) {
        if (entry.until) {
            next = next ? std::min(*next, *entry.until) : *entry.until;
        }
    }
    return next;
}

void DeviceBook::expire(RegistrySink& sink)
{
    // Names and not iterators: each look may change the book.
    std::vector<std::pair<std::uint64_t, std::string>> over;
    std::optional<Time> now;
    for (const auto& [name, entry] : _entries) {
        if (!entry.until) {
            continue;
        }
        now = now ? now : _calls.now();
        if (*entry.until <= *now) {
            // As a number: each further kind of pair would bring code of its own to sort it.
            over.emplace_back(entry.until->time_since_epoch().count(), name);
        }
    }
    std::sort(over.begin(), over.end());
    for (const auto& [until, name] : over) {
        stopWaiting(name);
        look(name, sink, Look::timeOver);
    }
}

} // namespace qrx::platform
