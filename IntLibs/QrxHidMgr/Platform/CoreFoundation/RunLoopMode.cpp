// The sources of one mode. Version-0 sources are kept sorted by their order, which is the order in which they fire.
// Version-1 sources have slots: the descriptor set reports a token made of a slot's index and generation, so a report
// finds its source without a search, and a report of a source that has left, or that has changed its descriptor
// meanwhile, is recognised by the generation and dropped. A signalled version-1 source is due as if its descriptor were
// readable.

#include "RunLoopMode.h"

#include "Base/SystemError.h"

#include <algorithm>
#include <cerrno>

namespace qrx::cf {

RunLoopMode::RunLoopMode(CFStringRef name, int wakeFd) : _name(Reference<CFStringRef>::retain(name))
{
    if (_descriptors.watch(wakeFd, kWakeToken) < 0) {
        platform::throwSystemError(errno, "a run loop cannot be woken");
    }
}

std::uint32_t RunLoopMode::freeSlot()
{
    // Slots are used again, so that the list does not grow with each device that comes and goes. The search is linear:
    // sources come and go with devices, not with reports.
    const auto free =
        std::find_if(_slots.begin(), _slots.end(), [](const Slot& slot) { return slot.source == nullptr; });
    if (free == _slots.end()) {
        _slots.emplace_back();
        return static_cast<std::uint32_t>(_slots.size() - 1);
    }
    return static_cast<std::uint32_t>(free - _slots.begin());
}

CFRunLoopSourceRef RunLoopMode::anyMember() const
{
    if (!_version0.empty()) {
        return _version0.front();
    }
    const auto used =
        std::find_if(_slots.begin(), _slots.end(), [](const Slot& slot) { return slot.source != nullptr; });
    return used != _slots.end() ? used->source : nullptr;
}

std::uint32_t RunLoopMode::add(CFRunLoopSourceRef source)
{
    if (source->isVersion0()) {
        const auto place =
            // Equal orders fire in the order of their addition.
            std::upper_bound(_version0.begin(), _version0.end(), source,
                             [](CFRunLoopSourceRef a, CFRunLoopSourceRef b) { return a->_order < b->_order; });
        _version0.insert(place, source);
        _due += source->_signalled ? 1 : 0;
        return 0;
    }
    const std::uint32_t index = freeSlot();
    if (_signalled.capacity() <= _version1Count) {
        // So that a signal takes no memory: every member can be in the list.
        _signalled.reserve(2 * _version1Count + 1);
    }
    // A descriptor that can never be watched, or not be duplicated, is no error: the source can still be signalled, or
    // get another descriptor.
    if (!watch(*source, index) && (errno == ENOSPC || errno == ENOMEM)) {
        platform::throwSystemError(errno, "a run loop cannot watch one more descriptor");
    }
    _slots[index].source = source;
    ++_version1Count;
    if (source->_signalled) {
        noteSignal(*source);
    }
    return index;
}

bool RunLoopMode::watch(const __CFRunLoopSource& source, std::uint32_t index)
{
    Slot& slot = _slots[index];
    slot.watched = _descriptors.watch(source._descriptor, std::uint64_t{slot.generation} << 32 | index);
    return slot.watched >= 0 || source._descriptor < 0;
}

void RunLoopMode::changeDescriptor(const __CFRunLoopSource& source, std::uint32_t index, int earlier)
{
    _descriptors.unwatch(_slots[index].watched, earlier);
    ++_slots[index].generation; // a report of the earlier one may be under way
    watch(source, index);
}

void RunLoopMode::remove(const __CFRunLoopSource& source, std::uint32_t index)
{
    if (source.isVersion0()) {
        std::erase(_version0, &source);
        _due -= source._signalled ? 1 : 0;
        return;
    }
    Slot& slot = _slots[index];
    // The generation goes up with the end of the membership, so reports under way reach nobody.
    _descriptors.unwatch(slot.watched, source._descriptor);
    slot = Slot{nullptr, slot.generation + 1, -1};
    --_version1Count;
    if (source._signalled) {
        forgetSignal(source);
    }
}

void RunLoopMode::noteSignal(__CFRunLoopSource& source)
{
    ++_due;
    if (!source.isVersion0()) {
        _signalled.push_back(&source);
    }
}

void RunLoopMode::forgetSignal(const __CFRunLoopSource& source)
{
    --_due;
    if (!source.isVersion0()) {
        std::erase(_signalled, &source);
    }
}

std::vector<Reference<CFRunLoopSourceRef>> RunLoopMode::signalledVersion0() const
{
    std::vector<Reference<CFRunLoopSourceRef>> due;
    for (CFRunLoopSourceRef source : _version0) {
        if (source->_signalled) {
            due.push_back(Reference<CFRunLoopSourceRef>::retain(source));
        }
    }
    return due;
}

Reference<CFRunLoopSourceRef> RunLoopMode::takeSignalled()
{
    auto source = Reference<CFRunLoopSourceRef>::retain(_signalled.front());
    source->clearSignal();
    _servedSignalLast = true;
    return source;
}

} // namespace qrx::cf
