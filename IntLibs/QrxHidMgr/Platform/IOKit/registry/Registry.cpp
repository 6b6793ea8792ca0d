// The registry: devices in the order of their arrival, handles on their entries, and the notification ports. One lock
// guards all of it. It is never held while foreign code runs, so whatever could end something of a provider's is moved
// out of the state first and destroyed after the lock is released.
//
// Publishing a device and removing one must succeed as a whole. Publishing takes all memory in a first step that can be
// undone ("stage"), and changes the state in a second one that cannot fail ("commit"). The memory for a device's end is
// taken with its arrival, because an end must always be reported.

#include "Registry.h"

#include "NotificationPort.h"
#include "RegistryIterator.h"
#include "UsbEntries.h"

#include <algorithm>
#include <utility>

namespace qrx::iokit {

std::mutex& registryLock()
{
    // Needs no destructor, and so outlives every static object.
    static constinit std::mutex sm_Lock;
    return sm_Lock;
}

Registry& Registry::instance()
{
    // Never destroyed: devices may be unplugged, and ports released, while the process ends.
    static Registry& sm_Registry = *new Registry;
    return sm_Registry;
}

platform::DeviceKey Registry::publish(platform::DeviceFacts device)
{
    // Made before the lock is taken: it needs nothing of the registry.
    const auto entry = std::make_shared<UsbDeviceEntry>(std::move(device));
    RegistryEntry::List entries;
    const std::lock_guard guard(registryLock());
    entry->record().arrivalSequence = ++_sequence;
    const platform::DeviceKey key = ++_lastKey;
    try {
        // Entries of HID drivers are made only if some notification could match them: making one parses a report
        // descriptor.
        entry->collect(entries, reachesHid());
        for (const auto& port : _ports) {
            port->stage(entries, _sequence);
        }
        _devices.emplace(key, entry);
    } catch (...) {
        std::for_each(_ports.begin(), _ports.end(), [](const auto& port) { port->unstage(); });
        throw;
    }
    std::for_each(_ports.begin(), _ports.end(), [](const auto& port) { port->commit(); });
    return key;
}

void Registry::terminate(platform::DeviceKey device)
{
    // Declared before the guard: they may be the last to hold the provider's things, and end after it.
    Notification::Events withdrawn;
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
    // Parents come before children here as at the arrival; all entries of the device share one place in the order.
    entry->forEach(reachesHid(), [&](const std::shared_ptr<RegistryEntry>& ended) {
        for (const auto& port : _ports) {
            port->end(ended, _sequence, _handles.isHeld(*ended), withdrawn);
        }
    });
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
    // Destroyed after the lock: the object may be the last holder of a device.
    std::shared_ptr<RegistryObject> dropped;
    std::shared_ptr<IONotificationPort> port;
    {
        const std::lock_guard guard(registryLock());
        if (!_handles.release(handle, dropped)) {
            return KERN_INVALID_NAME;
        }
        // Releasing a notification's iterator ends the subscription.
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
    // Only an entry that could be handed out is left behind.
    io_object_t handle = IO_OBJECT_NULL;
    if (auto* list = dynamic_cast<RegistryIterator*>(object.get())) {
        entry = list->current();
        if (entry) {
            handle = _handles.handOut(entry);
            list->advance();
        }
    } else if (auto* notification = dynamic_cast<Notification*>(object.get())) {
        const auto port = notification->port.lock();
        entry = port && !port->isClosed() ? port->current(*notification) : nullptr;
        if (entry) {
            handle = _handles.handOut(entry);
            port->advance(*notification);
        }
    }
    return handle;
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

std::size_t Registry::closedPorts()
{
    const std::lock_guard guard(registryLock());
    return _closedPorts.size();
}

RegistryEntry::List Registry::matching(const Matching& matching)
{
    // A copy of the list, so that descriptors are parsed without the lock.
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
    // Compared after everything was collected: what does not match may lie above or below what does.
    std::erase_if(entries, [&matching](const auto& entry) { return !matching.accepts(*entry); });
    return entries;
}

std::shared_ptr<IONotificationPort> Registry::createPort()
{
    Ports made{std::make_shared<IONotificationPort>()};
    auto port = made.front();
    // The last step that takes memory: the source belongs to the user, so nothing may fail after it.
    port->makeSource();
    const std::lock_guard guard(registryLock());
    _ports.splice(_ports.end(), made);
    return port;
}

std::shared_ptr<IONotificationPort> Registry::findPort(IONotificationPortRef port)
{
    const std::lock_guard guard(registryLock());
    // Found by address: a pointer from the application may be anything, and is never followed before it is known.
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
    _providers.updateWatcher(port.watcher(), [&port] {
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
    // Without the registry's lock: the providers' lock comes first in the order of the two.
    updateWatcher(port);
    const std::lock_guard guard(registryLock());
    port.closeDescriptors();
    const auto isIt = [&port](const auto& other) { return other.get() == &port; };
    const auto place = std::find_if(_ports.begin(), _ports.end(), isIt);
    if (place != _ports.end()) {
        _closedPorts.splice(_closedPorts.end(), _ports, place);
    }
}

void Registry::destroyPort(const std::shared_ptr<IONotificationPort>& port)
{
    closePort(*port);
    const std::lock_guard guard(registryLock());
    _closedPorts.remove(port);
}

io_iterator_t Registry::observe(const std::shared_ptr<Notification>& notification)
{
    const auto port = notification->port.lock();
    io_iterator_t iterator = IO_OBJECT_NULL;
    {
        const std::lock_guard guard(registryLock());
        // The iterator of a closed port stays empty, as where nothing matches.
        if (!port || port->isClosed()) {
            return _handles.handOut(notification);
        }
        if (notification->kind == Notification::Kind::arrival) {
            listPresent(*notification);
        } else {
            listEnded(*notification);
        }
        // Room first, so that adding the notification cannot fail after its handle is out.
        port->reserve();
        iterator = _handles.handOut(notification);
        port->add(notification);
    }
    // The first subscription starts the watching. What came between the last look and that is found by one more look.
    try {
        updateWatcher(*port);
        _providers.refresh();
    } catch (...) {
        release(iterator);
        throw;
    }
    return iterator;
}

template <typename Visit>
void Registry::forEachPresent(const Matching& matching, Visit visit)
{
    for (const auto& [key, device] : _devices) {
        device->forEach(matching.reachesHid(), [&](const std::shared_ptr<RegistryEntry>& entry) {
            if (matching.accepts(*entry)) {
                visit(entry);
            }
        });
    }
}

void Registry::listPresent(Notification& notification)
{
    forEachPresent(notification.matching, [&notification](const std::shared_ptr<RegistryEntry>& entry) {
        notification.events.push_back({entry->record().arrivalSequence, entry});
    });
}

void Registry::listEnded(Notification& notification)
{
    // Ends from before the subscription are reported as well, for entries that the application still holds: it may
    // list them as present.
    _handles.forEach([&notification](const HandleTable::Object& object) {
        const auto entry = std::dynamic_pointer_cast<RegistryEntry>(object);
        if (entry && !entry->isActive() && notification.matching.accepts(*entry)) {
            notification.events.push_back({entry->record().endSequence, entry});
        }
    });
    notification.events.sort([](const auto& first, const auto& second) { return first.sequence < second.sequence; });
    // One spare event for each entry that is present, for its end.
    forEachPresent(notification.matching,
                   [&notification](const std::shared_ptr<RegistryEntry>&) { notification.unused.emplace_back(); });
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
