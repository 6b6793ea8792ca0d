#include "EpollSet.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace qrx::iokit {

namespace {

/// Soon enough for a person who waits for a device, seldom enough for a machine that is short of everything.
constexpr time_t kSecondsBetweenTries = 1;

} // namespace

EpollSet::EpollSet()
    : _epoll(::epoll_create1(EPOLL_CLOEXEC)),
      _timer(_epoll.isOpen() ? ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK) : -1)
{
    // The timer is made at once: later, when a descriptor is missing, there would be none for it either.
    if (!_timer.isOpen() || !watch(_timer.get())) {
        throw std::system_error(errno, std::generic_category(), "arrivals and removals cannot be waited for");
    }
}

bool EpollSet::watch(int fd)
{
    if (fd < 0 || !_epoll.isOpen() || _process.isInherited()) {
        return true;
    }
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    // Watching what is watched already is no error: providers are asked again after a failure of one of them.
    return ::epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, fd, &event) == 0 || errno == EEXIST;
}

void EpollSet::forget(int fd)
{
    if (fd >= 0 && _epoll.isOpen() && !_process.isInherited()) {
        // In a child made by fork this would change the parent's set, which both share.
        ::epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, fd, nullptr);
    }
}

void EpollSet::setRetrying(bool isRetrying)
{
    if (isRetrying == _isRetrying || !_timer.isOpen() || _process.isInherited()) {
        return;
    }
    _isRetrying = isRetrying;
    itimerspec period{};
    period.it_value.tv_sec = period.it_interval.tv_sec = isRetrying ? kSecondsBetweenTries : 0;
    ::timerfd_settime(_timer.get(), 0, &period, nullptr);
}

bool EpollSet::takeRetry()
{
    std::uint64_t expirations = 0;
    return _isRetrying && _timer.isOpen() && !_process.isInherited() &&
           // The timer repeats by itself; reading it makes the set quiet until the next expiration.
           ::read(_timer.get(), &expirations, sizeof expirations) == sizeof expirations;
}

void EpollSet::close()
{
    _timer = {};
    _epoll = {};
}

} // namespace qrx::iokit
