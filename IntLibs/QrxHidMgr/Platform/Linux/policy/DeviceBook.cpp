#include "DeviceBook.h"

#include <algorithm>
#include <set>

namespace qrx::platform {

void DeviceBook::setWaiting(bool isAllowed)
{
    _mayWait = isAllowed;
    _hasLooked = false;
    _owedSince.reset();
    if (!isAllowed) {
        _gate.forgetAll();
    }
}

void DeviceBook::oweRescan()
{
    _owedSince = _mayWait ? std::optional(_calls.now()) : std::nullopt;
}

void DeviceBook::rescan(RegistrySink& sink)
{
    std::vector<ListedDevice> devices;
    _owedSince.reset();
    if (!_scan.list(devices)) {
        // A listing that failed says nothing about devices, so none is taken off.
        oweRescan();
        return;
    }
    leaveUnlisted(devices, sink);
    for (const ListedDevice& device : devices) {
        consider(device, sink, Patience::fresh);
    }
    _hasLooked = true;
}

void DeviceBook::leaveUnlisted(const std::vector<ListedDevice>& devices, RegistrySink& sink)
{
    std::set<std::string_view> listed;
    for (const ListedDevice& device : devices) {
        listed.insert(device.name);
    }
    std::vector<std::pair<DeviceKey, std::string>> left;
    for (const auto& [name, record] : _records) {
        if (!listed.contains(name)) {
            left.emplace_back(record.key, name);
        }
    }
    // In the order of their arrival.
    std::sort(left.begin(), left.end());
    for (const auto& [key, name] : left) {
        leave(name, sink);
    }
    for (const std::string& name : _gate.devices()) {
        if (!listed.contains(name)) {
            _gate.forget(name);
        }
    }
}

void DeviceBook::look(const std::string& name, RegistrySink& sink, Patience patience)
{
    ListedDevice device;
    switch (_scan.list(name, device)) {
    case DeviceScan::Result::complete:
        consider(device, sink, patience);
        break;
    case DeviceScan::Result::gone:
        leave(name, sink);
        _gate.forget(name);
        break;
    case DeviceScan::Result::scarce:
        askAgain(name, Patience::fresh);
        break;
    default:
        askAgain(name, patience);
        break;
    }
}

/// Used when a look could not be completed: no event will ask for it again.
void DeviceBook::askAgain(const std::string& name, Patience patience)
{
    if (_mayWait && patience == Patience::fresh) {
        _gate.wait(name, _calls.now() + _settleTime);
    }
}

void DeviceBook::consider(const ListedDevice& device, RegistrySink& sink, Patience patience)
{
    const auto known = _records.find(device.name);
    const bool isChange = known != _records.end();
    if (isChange) {
        const DeviceScan::Comparison comparison = _scan.compare(device, known->second.outline);
        if (comparison == DeviceScan::Comparison::unknown) {
            askAgain(device.name, patience);
        }
        if (comparison != DeviceScan::Comparison::different) {
            return;
        }
        leave(device.name, sink);
    }
    ScannedDevice scanned;
    switch (_scan.read(device, scanned)) {
    case DeviceScan::Result::complete:
        publish(device.name, std::move(scanned), sink);
        break;
    case DeviceScan::Result::incomplete:
        if (patience == Patience::ended || !mustWait(device.name, isChange)) {
            publish(device.name, std::move(scanned), sink);
        }
        break;
    case DeviceScan::Result::scarce:
        // The lack is ours and not the device's: it is read later, however long that takes.
        askAgain(device.name, Patience::fresh);
        break;
    case DeviceScan::Result::failed:
        // What could not be read now may be readable later. If no retry is left, publish what was read.
        if (_mayWait && patience == Patience::fresh) {
            askAgain(device.name, patience);
        } else if (scanned.access != nullptr) {
            publish(device.name, std::move(scanned), sink);
        }
        break;
    case DeviceScan::Result::notHID:
    case DeviceScan::Result::gone:
        _gate.forget(device.name);
        break;
    }
}

/// Whether an incomplete device is not published yet. With `isChange` it was published a moment ago and then looked
/// different: however long it has been connected, what is missing may still come.
bool DeviceBook::mustWait(const std::string& name, bool isChange)
{
    if (_gate.isWaiting(name)) {
        return true;
    }
    const auto age = _scan.age(name);
    if (!_mayWait) {
        // Nobody would look again. A kernel that does not tell the age of a device gets no waiting.
        return !isChange && age && *age < _settleTime;
    }
    // A device that was not there at the first look is being set up now, however long ago it was connected: the kernel
    // may have needed several attempts before it showed the device.
    const bool isNew = isChange || _hasLooked;
    const auto waited = isNew ? std::chrono::milliseconds(0) : age.value_or(std::chrono::milliseconds(0));
    if (waited >= _settleTime) {
        return false;
    }
    _gate.wait(name, _calls.now() + _settleTime - waited);
    return true;
}

void DeviceBook::publish(const std::string& name, ScannedDevice scanned, RegistrySink& sink)
{
    // The record is made first: a device that was published and is not recorded would be published again and never
    // removed.
    const auto record = _records.try_emplace(name).first;
    try {
        record->second.key = sink.publish(std::move(scanned.facts));
    } catch (...) {
        _records.erase(record);
        throw;
    }
    record->second.outline = std::move(scanned.outline);
    record->second.access = std::move(scanned.access);
    _gate.forget(name);
}

void DeviceBook::leave(const std::string& name, RegistrySink& sink)
{
    const auto found = _records.find(name);
    if (found == _records.end()) {
        return;
    }
    const Published record = std::move(found->second);
    _records.erase(found);
    record.access->leave();
    sink.terminate(record.key);
}

std::optional<ArrivalGate::Time> DeviceBook::nextExpiry() const
{
    const auto next = _gate.nextExpiry();
    if (!_owedSince) {
        return next;
    }
    const ArrivalGate::Time again = *_owedSince + _settleTime;
    return next ? std::min(*next, again) : again;
}

void DeviceBook::expire(RegistrySink& sink)
{
    if (_gate.nextExpiry()) {
        for (const std::string& name : _gate.takeExpired(_calls.now())) {
            look(name, sink, Patience::ended);
        }
    }
}

} // namespace qrx::platform
