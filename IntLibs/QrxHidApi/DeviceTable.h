#pragma once

#include "Base/WakeEvent.h"
#include "Provider/Provider.h"

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace qrx::hidapi {

/// Usage of a top-level collection.
struct TopUsage {
    std::uint16_t page = 0;
    std::uint16_t usage = 0;
};

/// One HID interface that can be opened. It does not change, and may outlive its device.
struct ListedInterface {
    std::shared_ptr<const platform::DeviceFacts> device;
    const platform::InterfaceFacts* facts = nullptr;
    /// A virtual device has one from 1; a real one has 0.
    unsigned virtualNumber = 0;
    /// What programs open it by: the report node, "virtual-1:0" for an interface of a virtual device.
    std::string path;
    /// One for each top-level collection; at least one.
    std::vector<TopUsage> usages;
};

/// The devices that are there, as providers tell of them. From any thread.
class DeviceTable final : public platform::RegistrySink {
public:
    using Interfaces = std::vector<std::shared_ptr<const ListedInterface>>;

    struct Change {
        std::shared_ptr<const ListedInterface> interface;
        bool arrived = false;
    };

    platform::DeviceKey publish(platform::DeviceFacts device) override;
    void terminate(platform::DeviceKey key) override;

    /// For when providers end: removes what they have published, which is not kept as a change, and forgets the places
    /// of virtual devices that have left.
    void forget();

    /// By place, then by number; virtual devices last, by their numbers.
    Interfaces interfaces() const;

    /// From now on changes are kept until they are taken. False with errno if no descriptor is free.
    bool keepChanges();
    /// Changes are not kept any more, and those kept are dropped.
    void dropChanges();
    /// Readable while changes are kept that nobody has taken. -1 where none are kept.
    int changesDescriptor() const;
    /// Oldest first.
    std::vector<Change> takeChanges();

private:
    struct Entry {
        platform::DeviceKey key = 0;
        bool isVirtual = false;
        std::string place;
        Interfaces interfaces;
    };

    unsigned virtualNumberOf(const platform::DeviceFacts& device);
    void note(const Interfaces& interfaces, bool arrived);

    mutable std::mutex _mutex;
    platform::DeviceKey _lastKey = 0;
    std::vector<Entry> _entries;
    /// The numbers of virtual devices in their paths, by place: a device has its number again when it comes again.
    std::map<std::string, unsigned> _virtualNumbers;
    /// Raised while there are changes; none where they are not kept.
    std::optional<platform::WakeEvent> _changed;
    std::vector<Change> _changes;
};

} // namespace qrx::hidapi
