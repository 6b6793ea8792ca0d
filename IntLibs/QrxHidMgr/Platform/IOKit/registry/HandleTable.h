#pragma once

#include "RegistryObject.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <unordered_map>

namespace qrx::iokit {

/// The handles of registry objects: numbers, each with a count of references. An object has one handle as long as any
/// reference on that handle is held. Numbers go up and wrap after 2^32, so a stale handle is found to be unknown
/// instead of naming another object. Used with the registry's lock held.
class HandleTable {
public:
    using Object = std::shared_ptr<RegistryObject>;

    /// The object's handle with one more reference.
    io_object_t handOut(const Object& object);

    /// Null for an unknown handle.
    Object find(io_object_t handle) const;

    /// False for an unknown handle.
    bool retain(io_object_t handle);

    /// False for an unknown handle. The last reference puts the object into `dropped`, to be destroyed by the caller
    /// when the lock is no longer held.
    bool release(io_object_t handle, Object& dropped);

    /// 0 if nobody holds one.
    io_object_t handleOf(const RegistryObject& object) const { return object._handle; }
    bool isHeld(const RegistryObject& object) const { return object._handle != IO_OBJECT_NULL; }
    /// In no particular order.
    void forEach(const std::function<void(const Object&)>& visit) const;
    std::size_t size() const { return _slots.size(); }

private:
    struct Slot {
        Object object;
        std::uint64_t count = 0;
    };

    io_object_t unusedNumber();

    std::unordered_map<io_object_t, Slot> _slots;
    /// No handle is lower, so that a small number that is passed by mistake is unknown.
    static constexpr io_object_t kFirstHandle = 0x1003;
    io_object_t _nextHandle = kFirstHandle;
};

} // namespace qrx::iokit
