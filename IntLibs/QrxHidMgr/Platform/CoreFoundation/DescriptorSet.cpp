// epoll, with two additions. A descriptor can be watched more than once, which epoll refuses: the second watcher gets
// a duplicate. A look can find several ready members, which are handed out one by one without further system calls;
// what was found and not handed out is remembered ("owed") and comes first after the next look, so that no member waits
// twice.

#include "DescriptorSet.h"

#include "Base/SystemError.h"

#include <algorithm>
#include <cerrno>
#include <span>

namespace qrx::cf {

DescriptorSet::DescriptorSet() : _calls(platform::SystemCalls::ofProcess()), _set(_calls)
{
    if (!_set.isOpen()) {
        platform::throwSystemError(errno, "no run loop can be made");
    }
}

int DescriptorSet::watch(int descriptor, std::uint64_t token)
{
    if (descriptor < 0) {
        return -1;
    }
    if (_set.add(descriptor, token)) {
        return descriptor;
    }
    // A member already, and epoll takes a descriptor only once. The duplicate is closed by `unwatch`.
    if (errno != EEXIST) {
        return -1;
    }
    platform::FileDescriptor duplicate(_calls, _calls.duplicate(descriptor));
    return duplicate.isOpen() && _set.add(duplicate.get(), token) ? duplicate.release() : -1;
}

void DescriptorSet::unwatch(int watched, int descriptor)
{
    if (watched < 0) {
        return;
    }
    // If the owner has closed the descriptor already, it has left the set by itself.
    _set.remove(watched);
    if (watched != descriptor) {
        _calls.close(watched);
    }
}

int DescriptorSet::waitUntil(platform::Deadline deadline, std::span<epoll_event> room)
{
    return _set.waitReady(room, deadline.remaining());
}

void DescriptorSet::noteFailure()
{
    // An interrupted wait found nothing. It is not repeated here: the caller decides whether its deadline has passed.
    if (errno != EINTR) {
        const int error = errno;
        _set.abandon();
        platform::throwSystemError(error, "the descriptor of a run loop was closed by others");
    }
}

/// Looks again when members are left that were found, but not handed out. To epoll they have had their turn, so the new
/// look may list them last; here they come first, in their earlier order, as far as they are still ready.
void DescriptorSet::lookForOwed(platform::Deadline deadline)
{
    const Found before = _found;
    const auto owed = std::span(before).first(_foundCount).subspan(_nextFound);
    look(deadline, kMostFound);
    auto* place = _found.data();
    auto* const end = _found.data() + _foundCount;
    for (const epoll_event& event : owed) {
        auto* const at =
            std::find_if(place, end, [&event](const epoll_event& found) { return tokenOf(found) == tokenOf(event); });
        if (at != end) {
            std::rotate(place, at, at + 1);
            ++place;
        }
    }
}

} // namespace qrx::cf
