#include "HandleTable.h"

#include <utility>

namespace qrx::iokit {

io_object_t HandleTable::unusedNumber()
{
    for (;;) {
        // Numbers are not used again before all 32 bits were through, so a handle that was released once too often
        // names nothing instead of another device.
        const io_object_t number = _nextHandle++;
        if (_nextHandle < kFirstHandle) {
            _nextHandle = kFirstHandle;
        }
        if (_slots.find(number) == _slots.end()) {
            return number;
        }
    }
}

io_object_t HandleTable::handOut(const Object& object)
{
    if (object->_handle == IO_OBJECT_NULL) {
        const io_object_t number = unusedNumber();
        // The slot first: if there is no memory for it, the object keeps no number.
        _slots.emplace(number, Slot{object, 0});
        object->_handle = number;
    }
    ++_slots[object->_handle].count;
    return object->_handle;
}

HandleTable::Object HandleTable::find(io_object_t handle) const
{
    const auto slot = _slots.find(handle);
    return slot == _slots.end() ? nullptr : slot->second.object;
}

bool HandleTable::retain(io_object_t handle)
{
    const auto slot = _slots.find(handle);
    if (slot == _slots.end()) {
        return false;
    }
    ++slot->second.count;
    return true;
}

bool HandleTable::release(io_object_t handle, Object& dropped)
{
    const auto slot = _slots.find(handle);
    if (slot == _slots.end()) {
        return false;
    }
    if (--slot->second.count == 0) {
        // Handed to the caller instead of destroyed here: its end may run code of a provider, and the registry is
        // locked.
        dropped = std::move(slot->second.object);
        dropped->_handle = IO_OBJECT_NULL;
        _slots.erase(slot);
    }
    return true;
}

void HandleTable::forEach(const std::function<void(const Object&)>& visit) const
{
    for (const auto& [handle, slot] : _slots) {
        visit(slot.object);
    }
}

} // namespace qrx::iokit
