// epoll, with three additions. A descriptor can be watched more than once, which epoll refuses: the second watcher gets
// a duplicate. A look can find several ready members, which are handed out one by one without further system calls;
// what was found and not handed out is remembered ("owed") and comes first after the next look, so that no member waits
// twice. And a child made by fork keeps its hands off: it shares the parent's epoll instance, so a change in the child
// would change what the parent waits for.

#include "DescriptorSet.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <limits>
#include <span>
#include <system_error>

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qrx::cf {

namespace {

/// The kernel's own form of a time, 64 bits wide everywhere.
struct KernelTime {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

std::atomic<bool> sm_HasPreciseWait{true};

/// In milliseconds, rounded up: rounded down, a wait would end early and be tried again at once, over and over.
int roundedMs(std::chrono::nanoseconds remaining)
{
    const auto ms = std::chrono::ceil<std::chrono::milliseconds>(remaining).count();
    return static_cast<int>(std::min<std::int64_t>(ms, std::numeric_limits<int>::max()));
}

/// Waits with nanoseconds where the kernel can (5.11); some sandboxes refuse unknown calls with EPERM.
int timedWait(int epollFd, std::span<epoll_event> events, std::chrono::nanoseconds remaining)
{
#ifdef SYS_epoll_pwait2
    const int most = static_cast<int>(events.size());
    if (sm_HasPreciseWait.load(std::memory_order_relaxed)) {
        constexpr std::int64_t kNsPerSecond = 1'000'000'000;
        const KernelTime time{remaining.count() / kNsPerSecond, remaining.count() % kNsPerSecond};
        const long count = ::syscall(SYS_epoll_pwait2, epollFd, events.data(), most, &time, nullptr, std::size_t{0});
        if (count >= 0 || (errno != ENOSYS && errno != EPERM)) {
            return static_cast<int>(count);
        }
        // Found out once for the process. Several threads may find out at the same time, with the same result.
        sm_HasPreciseWait.store(false, std::memory_order_relaxed);
    }
#endif
    return ::epoll_wait(epollFd, events.data(), most, roundedMs(remaining));
}

} // namespace

DescriptorSet::DescriptorSet() : _epoll(::epoll_create1(EPOLL_CLOEXEC))
{
    if (!_epoll.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "no run loop can be made");
    }
}

int DescriptorSet::watch(int descriptor, std::uint64_t token)
{
    epoll_event event{};
    event.events = EPOLLIN; // EPOLLERR and EPOLLHUP are always reported
    event.data.u64 = token;
    if (!_epoll.isOpen() || descriptor < 0 || _process.isInherited()) {
        return -1;
    }
    if (::epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, descriptor, &event) == 0) {
        return descriptor;
    }
    // A member already, and epoll takes a descriptor only once. The duplicate is closed by `unwatch`.
    if (errno != EEXIST) {
        return -1;
    }
    const int duplicate = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    if (duplicate >= 0 && ::epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, duplicate, &event) == 0) {
        return duplicate;
    }
    if (duplicate >= 0) {
        ::close(duplicate);
    }
    return -1;
}

void DescriptorSet::unwatch(int watched, int descriptor)
{
    if (watched < 0) {
        return;
    }
    epoll_event unused{};
    if (_epoll.isOpen() && !_process.isInherited()) {
        // The result does not matter: if the owner has closed the descriptor already, it has left the set by itself.
        ::epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, watched, &unused);
    }
    if (watched != descriptor) {
        ::close(watched);
    }
}

int DescriptorSet::waitUntil(Deadline deadline, std::size_t most)
{
    const auto events = std::span(_found).first(most);
    if (const auto remaining = deadline.remaining()) {
        return timedWait(_epoll.get(), events, *remaining);
    }
    return ::epoll_wait(_epoll.get(), events.data(), static_cast<int>(most), -1);
}

void DescriptorSet::noteFailure()
{
    // An interrupted wait found nothing. It is not repeated here: the caller decides whether its deadline has passed.
    if (errno != EINTR) {
        const int error = errno;
        _epoll.release(); // the number is nobody's now, or somebody else's
        throw std::system_error(error, std::generic_category(), "the descriptor of a run loop was closed by others");
    }
}

/// Looks again when members are left that were found, but not handed out. To epoll they have had their turn, so the new
/// look may list them last; here they come first, in their earlier order, as far as they are still ready.
void DescriptorSet::lookForOwed(Deadline deadline)
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
