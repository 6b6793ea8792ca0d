#include "EpollSet.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace qrx::platform {

namespace {

/// In milliseconds, rounded up: rounded down, a wait would end early and be tried again at once, over and over.
int roundedMs(std::chrono::nanoseconds time)
{
    const auto ms = std::chrono::ceil<std::chrono::milliseconds>(time).count();
    return static_cast<int>(std::min<std::int64_t>(ms, std::numeric_limits<int>::max()));
}

} // namespace

bool EpollSet::add(int fd, std::uint64_t token)
{
    // In a child the set is still the parent's: the parent would wake for a descriptor that it does not know.
    if (!_epoll.isOpen() || _process.isInherited()) {
        errno = EBADF;
        return false;
    }
    epoll_event interest{};
    interest.events = EPOLLIN; // EPOLLERR and EPOLLHUP are always reported
    interest.data.u64 = token;
    return _calls.epollAdd(_epoll.get(), fd, interest) == 0;
}

void EpollSet::remove(int fd)
{
    if (_epoll.isOpen() && !_process.isInherited()) {
        _calls.epollRemove(_epoll.get(), fd);
    }
}

int EpollSet::waitReady(std::span<epoll_event> found, std::optional<std::chrono::nanoseconds> most)
{
    if (!most) {
        return wait(found, -1);
    }
    // With whole milliseconds a run of the loop would last up to 1 ms longer than its caller asked for.
    if (_waitsPrecisely) {
        const int count = _calls.epollWaitPrecisely(_epoll.get(), found.data(), static_cast<int>(found.size()), *most);
        if (count >= 0 || (errno != ENOSYS && errno != EPERM)) {
            return count;
        }
        // Not tried again: the kernel is older than 5.11, or a sandbox refuses calls that it does not know.
        _waitsPrecisely = false;
    }
    return wait(found, roundedMs(*most));
}

} // namespace qrx::platform
