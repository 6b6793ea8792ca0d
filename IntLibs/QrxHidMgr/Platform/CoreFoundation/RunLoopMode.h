#pragma once

/// One mode of a run loop: the sources that a run in it serves. Private to this folder.

#include "CFRunLoopSource.h"
#include "DescriptorSet.h"
#include "Reference.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace qrx::cf {

/// It lives as long as its loop. Where nothing else is said it is called under sm_RunLoopMutex. A member is retained by
/// whoever adds it (the loop), not here.
class RunLoopMode {
public:
    /// What wait reports when the loop was woken.
    static constexpr std::uint64_t kWakeToken = UINT64_MAX;

    /// Throws std::system_error if the system has no descriptor left.
    RunLoopMode(CFStringRef name, int wakeFd);

    /// Needs no mutex.
    CFStringRef name() const { return _name.get(); }
    bool empty() const { return _version0.empty() && _version1Count == 0; }
    /// Readable while a member's descriptor is, or the loop is woken. -1 once closed.
    int descriptor() const { return _descriptors.descriptor(); }

    /// Null if there is none.
    CFRunLoopSourceRef anyMember() const;
    /// Returns the place of the member, for Membership. Throws std::system_error, and adds nothing, if the system
    /// cannot watch one more descriptor (its memory, or the user's limit of epoll watches).
    std::uint32_t add(CFRunLoopSourceRef source);
    void remove(const __CFRunLoopSource& source, std::uint32_t slot);

    /// The version-1 member waits for another descriptor than before.
    void changeDescriptor(const __CFRunLoopSource& source, std::uint32_t slot, int earlier);

    /// A member is due by a signal (one of version 1 as if its descriptor were readable), or is no longer.
    void noteSignal(__CFRunLoopSource& source);
    void forgetSignal(const __CFRunLoopSource& source);

    /// True if a version-1 member is due by a signal.
    bool hasSignalled() const { return !_signalled.empty(); }
    bool hasSignalledVersion0() const { return _due != _signalled.size(); }
    /// True if any member is due without a descriptor.
    bool hasDue() const { return _due != 0; }
    /// True if a signalled member may be served before a descriptor is looked at: they take turns.
    bool isSignalsTurn() const { return hasSignalled() && !_servedSignalLast; }

    /// The version-0 members that are signalled, in ascending order, retained.
    std::vector<Reference<CFRunLoopSourceRef>> signalledVersion0() const;

    /// The next due version-1 member, retained, its signal cleared. One must be due.
    Reference<CFRunLoopSourceRef> takeSignalled();
    /// As above, the member that a token of wait names; nothing if it has left.
    Reference<CFRunLoopSourceRef> takeReported(std::uint64_t token)
    {
        const auto index = static_cast<std::uint32_t>(token);
        if (index >= _slots.size() || _slots[index].source == nullptr || _slots[index].generation != token >> 32) {
            return {};
        }
        auto source = Reference<CFRunLoopSourceRef>::retain(_slots[index].source);
        source->clearSignal();
        _servedSignalLast = false;
        return source;
    }

    // On the loop's thread, with the mutex or without it; wait is for a time without it. As those of DescriptorSet.

    std::optional<std::uint64_t> takeFound() { return _descriptors.takeFound(); }
    std::optional<std::uint64_t> wait(platform::Deadline deadline, DescriptorSet::Look look)
    {
        return _descriptors.wait(deadline, look);
    }
    void doubtFound() { _descriptors.doubtFound(); }

    /// On the loop's thread, at its end; nothing is reported any more.
    void close() { _descriptors.close(); }

private:
    /// A place for a version-1 member. A token names the place and its generation, so that the report of a member that
    /// has left reaches nobody.
    struct Slot {
        CFRunLoopSourceRef source = nullptr;
        std::uint32_t generation = 0;
        int watched = -1; ///< of DescriptorSet
    };

    std::uint32_t freeSlot();
    /// False, with errno, if the source has a descriptor that is not watched.
    bool watch(const __CFRunLoopSource& source, std::uint32_t index);

    const Reference<CFStringRef> _name;
    DescriptorSet _descriptors;
    std::vector<CFRunLoopSourceRef> _version0; ///< by order
    std::vector<Slot> _slots;
    std::size_t _version1Count = 0;
    std::vector<CFRunLoopSourceRef> _signalled; ///< version 1, in the order of their signals; has room for all
    std::size_t _due = 0;                       ///< members that are signalled, of both versions
    bool _servedSignalLast = false;
};

} // namespace qrx::cf
