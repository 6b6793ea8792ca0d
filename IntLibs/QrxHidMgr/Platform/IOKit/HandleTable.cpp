#include "HandleTable.h"

#include <utility>

namespace qrx::iokit {

io_object_t HandleTable::unusedNumber()
{
    for (;;) {
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
