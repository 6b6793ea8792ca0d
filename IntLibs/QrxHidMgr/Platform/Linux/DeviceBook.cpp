#include "DeviceBook.h"

#include <algorithm>
#include <set>

namespace qrx::platform {

void DeviceBook::setWaiting(bool isAllowed)
{
    _mayWait = isAllowed;
    if (!isAllowed) {
        _gate.forgetAll();
    }
}

void DeviceBook::rescan(RegistrySink& sink)
{
    std::vector<ListedDevice> devices;
    if (!_scan.list(devices)) {
        return; // no answer is no reason to believe that anything has left
    }
    leaveUnlisted(devices, sink);
    for (const ListedDevice& device : devices) {
        consider(device, sink);
    }
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

void DeviceBook::look(const std::string& name, RegistrySink& sink)
{
    ListedDevice device;
    switch (_scan.list(name, device)) {
    case DeviceScan::Result::complete:
        consider(device, sink);
        break;
    case DeviceScan::Result::gone:
        leave(name, sink);
        _gate.forget(name);
        break;
    default:
        // Nobody else asks for this look again.
        if (_mayWait) {
            _gate.wait(name, _calls.now() + _settleTime);
        }
        break;
    }
}

void DeviceBook::consider(const ListedDevice& device, RegistrySink& sink)
{
    const auto known = _records.find(device.name);
    const bool isChange = known != _records.end();
    if (isChange) {
        if (_scan.compare(device, known->second.outline) != DeviceScan::Comparison::different) {
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
        waitOrPublish(device.name, isChange, std::move(scanned), sink);
        break;
    case DeviceScan::Result::failed:
        if (_mayWait) {
            _gate.wait(device.name, _calls.now() + _settleTime);
        }
        break;
    case DeviceScan::Result::notHID:
    case DeviceScan::Result::gone:
        _gate.forget(device.name);
        break;
    }
}

/// `isChange`: the device was published a moment ago and looked different then, so however long it has been connected,
/// what is missing may still come.
void DeviceBook::waitOrPublish(const std::string& name, bool isChange, ScannedDevice scanned, RegistrySink& sink)
{
    if (_gate.isWaiting(name)) {
        return;
    }
    // A kernel that does not tell the age gets full patience from those who can wait, and none from those who cannot.
    const auto age = _scan.age(name);
    const auto waited =
        isChange ? std::chrono::milliseconds(0) : age.value_or(_mayWait ? std::chrono::milliseconds(0) : _settleTime);
    if (waited >= _settleTime || (isChange && !_mayWait)) {
        publish(name, std::move(scanned), sink);
    } else if (_mayWait) {
        _gate.wait(name, _calls.now() + _settleTime - waited);
    }
}

void DeviceBook::publish(const std::string& name, ScannedDevice scanned, RegistrySink& sink)
{
    _gate.forget(name);
    const DeviceKey key = sink.publish(std::move(scanned.facts));
    _records[name] = {key, std::move(scanned.outline), std::move(scanned.access)};
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

void DeviceBook::expire(RegistrySink& sink)
{
    if (!_gate.nextExpiry()) {
        return;
    }
    for (const std::string& name : _gate.takeExpired(_calls.now())) {
        ListedDevice device;
        ScannedDevice scanned;
        if (_scan.list(name, device) != DeviceScan::Result::complete) {
            continue;
        }
        const DeviceScan::Result result = _scan.read(device, scanned);
        if (result == DeviceScan::Result::complete || result == DeviceScan::Result::incomplete) {
            publish(name, std::move(scanned), sink);
        }
    }
}

} // namespace qrx::platform
