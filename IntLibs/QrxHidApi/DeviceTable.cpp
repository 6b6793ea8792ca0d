#include "DeviceTable.h"

#include "HID/ReportDescriptor.h"

#include <algorithm>
#include <tuple>
#include <utility>

namespace qrx::hidapi {

namespace {

/// A descriptor without any collection still is a device that programs may want: it is listed once, without a usage.
std::vector<TopUsage> topUsages(const std::vector<std::uint8_t>& reportDescriptor)
{
    std::vector<TopUsage> usages;
    for (const hid::Collection& collection : hid::parseReportDescriptor(reportDescriptor).collections) {
        if (!collection.parent.has_value()) {
            usages.push_back({collection.usagePage, static_cast<std::uint16_t>(collection.usage)});
        }
    }
    if (usages.empty()) {
        usages.emplace_back();
    }
    return usages;
}

std::string pathOf(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface,
                   unsigned virtualNumber)
{
    return device.isVirtual ? "virtual-" + std::to_string(virtualNumber) + ":" + std::to_string(interface.number)
                            : interface.hid->nodePath();
}

} // namespace

// With the lock held.
unsigned DeviceTable::virtualNumberOf(const platform::DeviceFacts& device)
{
    if (!device.isVirtual) {
        return 0;
    }
    unsigned& number = _virtualNumbers[device.place];
    if (number == 0) {
        // The lowest that is free, so that the devices of a program that begins anew have the same paths again.
        unsigned free = 1;
        while (std::ranges::any_of(_virtualNumbers, [&](const auto& taken) { return taken.second == free; })) {
            ++free;
        }
        number = free;
    }
    return number;
}

platform::DeviceKey DeviceTable::publish(platform::DeviceFacts device)
{
    const auto facts = std::make_shared<const platform::DeviceFacts>(std::move(device));
    const std::scoped_lock lock(_mutex);
    const unsigned virtualNumber = virtualNumberOf(*facts);
    Interfaces interfaces;
    for (const platform::InterfaceFacts& interface : facts->interfaces) {
        if (interface.hid == nullptr) {
            continue;
        }
        std::string path = pathOf(*facts, interface, virtualNumber);
        // Without a node there is nothing to open.
        if (!path.empty()) {
            // The pointer to the interface's facts stays valid: the record shares the device's.
            interfaces.push_back(std::make_shared<const ListedInterface>(ListedInterface{
                facts, &interface, virtualNumber, std::move(path), topUsages(interface.reportDescriptor)}));
        }
    }
    // Without memory it is neither listed nor told of.
    _entries.reserve(_entries.size() + 1);
    // Under one lock with the list, so that changes are kept in the order in which the list changes.
    note(interfaces, true);
    _entries.push_back({++_lastKey, facts->isVirtual, facts->place, std::move(interfaces)});
    return _lastKey;
}

void DeviceTable::terminate(platform::DeviceKey key)
{
    const std::scoped_lock lock(_mutex);
    const auto entry = std::ranges::find(_entries, key, &Entry::key);
    if (entry != _entries.end()) {
        // Gone in any case: without memory the change is not told of.
        const Interfaces left = std::move(entry->interfaces);
        _entries.erase(entry);
        note(left, false);
    }
}

void DeviceTable::forget()
{
    const std::scoped_lock lock(_mutex);
    // Virtual devices are no provider's: they leave when whoever made them unplugs them.
    std::erase_if(_entries, [](const Entry& entry) { return !entry.isVirtual; });
    std::erase_if(_virtualNumbers, [this](const auto& numbered) {
        return std::ranges::find(_entries, numbered.first, &Entry::place) == _entries.end();
    });
}

DeviceTable::Interfaces DeviceTable::interfaces() const
{
    Interfaces all;
    {
        const std::scoped_lock lock(_mutex);
        for (const Entry& entry : _entries) {
            all.insert(all.end(), entry.interfaces.begin(), entry.interfaces.end());
        }
    }
    // Without the lock: what is listed never changes, and the shares keep it.
    std::ranges::stable_sort(all, {}, [](const auto& listed) {
        return std::tie(listed->virtualNumber, listed->device->place, listed->facts->number);
    });
    return all;
}

bool DeviceTable::keepChanges()
{
    const std::scoped_lock lock(_mutex);
    _changed.emplace(platform::SystemCalls::ofProcess());
    return _changed->isOpen();
}

void DeviceTable::dropChanges()
{
    const std::scoped_lock lock(_mutex);
    _changed.reset();
    _changes.clear();
}

int DeviceTable::changesDescriptor() const
{
    const std::scoped_lock lock(_mutex);
    return _changed ? _changed->descriptor() : -1;
}

std::vector<DeviceTable::Change> DeviceTable::takeChanges()
{
    const std::scoped_lock lock(_mutex);
    if (_changed) {
        // With the lock held: a change that comes later raises it again.
        _changed->clear();
    }
    return std::exchange(_changes, {});
}

// With the lock held.
void DeviceTable::note(const Interfaces& interfaces, bool arrived)
{
    if (!_changed || interfaces.empty()) {
        return;
    }
    _changes.reserve(_changes.size() + interfaces.size());
    for (const auto& interface : interfaces) {
        _changes.push_back({interface, arrived});
    }
    // A program's loop needs this besides the providers' descriptors: those go quiet as soon as any call has made the
    // provider look, and the change would wait untold.
    _changed->raise();
}

} // namespace qrx::hidapi
