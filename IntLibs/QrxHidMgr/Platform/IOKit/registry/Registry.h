#pragma once

#include "HandleTable.h"
#include "Matching.h"
#include "Notification.h"
#include "Provider/Provider.h"
#include "ProviderSet.h"
#include "RegistryEntry.h"

#include <IOKit/IOKitLib.h>

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace qrx::iokit {

class UsbDeviceEntry;

/// Guards the registry's state: devices, handles, notifications. Never held while code of others runs, be it a
/// callback, a provider or the end of something that a provider owns. Properties and elements may be made under it.
/// That takes the locks of entries and of the elements that they share; none of those is held while this one is taken.
std::mutex& registryLock();

/// The process's registry. Devices come from providers; entries leave as handles. From any thread; it lives until the
/// process ends.
class Registry final : public platform::RegistrySink {
public:
    static Registry& instance();

    platform::DeviceKey publish(platform::DeviceFacts device) override;
    /// Takes no memory.
    void terminate(platform::DeviceKey device) override;

    ProviderSet& providers() { return _providers; }

    // --- handles ---

    io_object_t handOut(const std::shared_ptr<RegistryObject>& object);
    /// Null for an unknown handle or an object of another kind.
    template <typename T>
    std::shared_ptr<T> find(io_object_t handle)
    {
        return std::dynamic_pointer_cast<T>(findObject(handle));
    }
    kern_return_t retain(io_object_t handle);
    kern_return_t release(io_object_t handle);
    /// The next entry of an iterator of any kind, with a reference for the caller; 0 at the end.
    io_object_t next(io_iterator_t iterator);
    void reset(io_iterator_t iterator);
    /// The number of handles that somebody holds.
    std::size_t heldHandles();
    /// The number of ports that are closed and stay for good.
    std::size_t closedPorts();

    // --- enumeration and observation ---

    /// What matches now, in the order of arrival, each device followed by what is below it.
    RegistryEntry::List matching(const Matching& matching);

    std::shared_ptr<IONotificationPort> createPort();
    /// Null if it is none of ours or was destroyed.
    std::shared_ptr<IONotificationPort> findPort(IONotificationPortRef port);
    /// From now on nothing is delivered; also for a port whose source has ended.
    void closePort(IONotificationPort& port);
    void destroyPort(const std::shared_ptr<IONotificationPort>& port);
    /// Lists what the notification's kind lists at the start; the caller owns the iterator's one reference.
    io_iterator_t observe(const std::shared_ptr<Notification>& notification);

    // --- with the lock held ---

    /// The number of the last arrival or end.
    std::uint64_t sequence() const { return _sequence; }
    /// Without a new reference; 0 if nobody holds a handle.
    io_object_t handleOf(const RegistryObject& object) const { return _handles.handleOf(object); }

private:
    /// Lists, since a port moves from one to the other without an allocation.
    using Ports = std::list<std::shared_ptr<IONotificationPort>>;

    Registry() : _providers(*this) {}

    std::shared_ptr<RegistryObject> findObject(io_object_t handle);
    void updateWatcher(IONotificationPort& port);
    void listPresent(Notification& notification);
    void listEnded(Notification& notification);
    /// Calls `visit` with the entries of all devices that `matching` accepts.
    template <typename Visit>
    void forEachPresent(const Matching& matching, Visit visit);
    /// Some notification looks below the USB interfaces.
    bool reachesHid() const;

    ProviderSet _providers;
    HandleTable _handles;
    /// By key, that is in the order of arrival.
    std::map<platform::DeviceKey, std::shared_ptr<UsbDeviceEntry>> _devices;
    platform::DeviceKey _lastKey = 0;
    std::uint64_t _sequence = 0;
    Ports _ports;
    /// Ports whose source has ended and whose user does not destroy them. They stay here for good, some hundred bytes
    /// each, still referenced, so that no leak checker reports them.
    Ports _closedPorts;
};

} // namespace qrx::iokit
