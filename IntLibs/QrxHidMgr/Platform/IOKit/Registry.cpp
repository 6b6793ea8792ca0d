#include "Registry.h"

#include "NotificationPort.h"
#include "RegistryIterator.h"
#include "UsbEntries.h"

#include <algorithm>
#include <utility>

namespace qrx::iokit {

std::mutex& registryLock()
{
    static std::mutex& lock = *new std::mutex;
    return lock;
}

Registry& Registry::instance()
{
    // Never destroyed: devices may be unplugged, and ports released, while the process ends.
    static Registry& registry = *new Registry;
    return registry;
}

platform::DeviceKey Registry::publish(platform::DeviceFacts device)
{
    const auto entry = std::make_shared<UsbDeviceEntry>(std::move(device));
    const std::lock_guard guard(registryLock());
    entry->record().arrivalSequence = ++_sequence;
    const platform::DeviceKey key = ++_lastKey;
    _devices.emplace(key, entry);
    RegistryEntry::List entries;
    entry->collect(entries, reachesHid());
    for (const auto& port : _ports) {
        port->arrive(entries, _sequence);
    }
    return key;
}

void Registry::terminate(platform::DeviceKey device)
{
    // Declared before the guard: they may be the last to hold the provider's things, and end after it.
    RegistryEntry::List entries;
    RegistryEntry::List withdrawn;
    std::shared_ptr<UsbDeviceEntry> entry;
    const std::lock_guard guard(registryLock());
    const auto place = _devices.find(device);
    if (place == _devices.end()) {
        return;
    }
    entry = std::move(place->second);
    _devices.erase(place);
    entry->record().isActive = false;
    entry->record().endSequence = ++_sequence;
    entry->collect(entries, reachesHid());
    for (const auto& port : _ports) {
        for (const auto& ended : entries) {
            port->end(ended, _sequence, _handles.isHeld(*ended), withdrawn);
        }
    }
}

io_object_t Registry::handOut(const std::shared_ptr<RegistryObject>& object)
{
    const std::lock_guard guard(registryLock());
    return _handles.handOut(object);
}

std::shared_ptr<RegistryObject> Registry::findObject(io_object_t handle)
{
    const std::lock_guard guard(registryLock());
    return _handles.find(handle);
}

kern_return_t Registry::retain(io_object_t handle)
{
    const std::lock_guard guard(registryLock());
    return _handles.retain(handle) ? KERN_SUCCESS : KERN_INVALID_NAME;
}

kern_return_t Registry::release(io_object_t handle)
{
    std::shared_ptr<RegistryObject> dropped;
    std::shared_ptr<IONotificationPort> port;
    {
        const std::lock_guard guard(registryLock());
        if (!_handles.release(handle, dropped)) {
            return KERN_INVALID_NAME;
        }
        if (const auto* notification = dynamic_cast<const Notification*>(dropped.get())) {
            port = notification->port.lock();
            if (port) {
                port->remove(*notification);
            }
        }
    }
    if (port) {
        updateWatcher(*port);
    }
    return KERN_SUCCESS;
}

io_object_t Registry::next(io_iterator_t iterator)
{
    std::shared_ptr<RegistryEntry> entry;
    const std::lock_guard guard(registryLock());
    const auto object = _handles.find(iterator);
    if (auto* list = dynamic_cast<RegistryIterator*>(object.get())) {
        entry = list->next();
    } else if (auto* notification = dynamic_cast<Notification*>(object.get())) {
        const auto port = notification->port.lock();
        entry = port && !port->isClosed() ? port->next(*notification) : nullptr;
    }
    return entry ? _handles.handOut(entry) : IO_OBJECT_NULL;
}

void Registry::reset(io_iterator_t iterator)
{
    const std::lock_guard guard(registryLock());
    if (auto* list = dynamic_cast<RegistryIterator*>(_handles.find(iterator).get())) {
        list->reset();
    }
}

std::size_t Registry::heldHandles()
{
    const std::lock_guard guard(registryLock());
    return _handles.size();
}

RegistryEntry::List Registry::matching(const Matching& matching)
{
    std::vector<std::shared_ptr<UsbDeviceEntry>> devices;
    {
        const std::lock_guard guard(registryLock());
        devices.reserve(_devices.size());
        for (const auto& [key, device] : _devices) {
            devices.push_back(device);
        }
    }
    RegistryEntry::List entries;
    for (const auto& device : devices) {
        device->collect(entries, matching.reachesHid());
    }
    std::erase_if(entries, [&matching](const auto& entry) { return !matching.accepts(*entry); });
    return entries;
}

std::shared_ptr<IONotificationPort> Registry::createPort()
{
    auto port = std::make_shared<IONotificationPort>();
    port->makeSource();
    const std::lock_guard guard(registryLock());
    _ports.push_back(port);
    return port;
}

std::shared_ptr<IONotificationPort> Registry::findPort(IONotificationPortRef port)
{
    const std::lock_guard guard(registryLock());
    for (const auto* ports : {&_ports, &_closedPorts}) {
        const auto isIt = [port](const auto& other) { return other.get() == port; };
        const auto place = std::find_if(ports->begin(), ports->end(), isIt);
        if (place != ports->end()) {
            return *place;
        }
    }
    return nullptr;
}

bool Registry::reachesHid() const
{
    return std::any_of(_ports.begin(), _ports.end(), [](const auto& port) { return port->reachesHid(); });
}

void Registry::updateWatcher(IONotificationPort& port)
{
    _providers.updateWatcher(port.set(), [&port] {
        const std::lock_guard guard(registryLock());
        return port.isObserving();
    });
}

void Registry::closePort(IONotificationPort& port)
{
    std::vector<std::shared_ptr<Notification>> dropped;
    {
        const std::lock_guard guard(registryLock());
        port.close(dropped);
    }
    updateWatcher(port);
    const std::lock_guard guard(registryLock());
    port.closeDescriptors();
    const auto isIt = [&port](const auto& other) { return other.get() == &port; };
    const auto place = std::find_if(_ports.begin(), _ports.end(), isIt);
    if (place != _ports.end()) {
        _closedPorts.push_back(std::move(*place));
        _ports.erase(place);
    }
}

void Registry::destroyPort(const std::shared_ptr<IONotificationPort>& port)
{
    closePort(*port);
    const std::lock_guard guard(registryLock());
    std::erase(_closedPorts, port);
}

io_iterator_t Registry::observe(const std::shared_ptr<Notification>& notification)
{
    const auto port = notification->port.lock();
    io_iterator_t iterator = IO_OBJECT_NULL;
    {
        const std::lock_guard guard(registryLock());
        if (!port || port->isClosed()) {
            return _handles.handOut(notification);
        }
        port->add(notification);
        if (notification->kind == Notification::Kind::arrival) {
            listPresent(*notification);
        } else {
            listEnded(*notification);
        }
        iterator = _handles.handOut(notification);
    }
    // Watched from here on, and looked at once more: what came before the watching is not missed.
    try {
        updateWatcher(*port);
        _providers.refresh();
    } catch (...) {
        release(iterator);
        throw;
    }
    return iterator;
}

void Registry::listPresent(Notification& notification)
{
    for (const auto& [key, device] : _devices) {
        RegistryEntry::List entries;
        device->collect(entries, notification.matching.reachesHid());
        for (const auto& entry : entries) {
            if (notification.matching.accepts(*entry)) {
                notification.events.push_back({device->record().arrivalSequence, entry});
            }
        }
    }
}

void Registry::listEnded(Notification& notification)
{
    _handles.forEach([&notification](const HandleTable::Object& object) {
        const auto entry = std::dynamic_pointer_cast<RegistryEntry>(object);
        if (entry && !entry->isActive() && notification.matching.accepts(*entry)) {
            notification.events.push_back({entry->record().endSequence, entry});
        }
    });
    std::stable_sort(notification.events.begin(), notification.events.end(),
                     [](const auto& first, const auto& second) { return first.sequence < second.sequence; });
}

} // namespace qrx::iokit

namespace qrx::platform {

RegistrySink& registry()
{
    return iokit::Registry::instance();
}

void setProvidersEnabled(bool enabled)
{
    iokit::Registry::instance().providers().setEnabled(enabled);
}

} // namespace qrx::platform
