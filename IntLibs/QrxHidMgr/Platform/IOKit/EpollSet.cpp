#include "EpollSet.h"

#include "Provider/Log.h"

#include <cerrno>
#include <cstring>
#include <string>

#include <sys/epoll.h>

namespace qrx::iokit {

EpollSet::EpollSet() : _epoll(::epoll_create1(EPOLL_CLOEXEC))
{
    if (_epoll.get() < 0) {
        platform::log(platform::LogLevel::error, std::string("no descriptor to wait on: ") + std::strerror(errno));
    }
}

void EpollSet::watch(int fd)
{
    if (fd < 0 || _epoll.get() < 0) {
        return;
    }
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = fd;
    ::epoll_ctl(_epoll.get(), EPOLL_CTL_ADD, fd, &event);
}

void EpollSet::forget(int fd)
{
    if (fd >= 0 && _epoll.get() >= 0) {
        ::epoll_ctl(_epoll.get(), EPOLL_CTL_DEL, fd, nullptr);
    }
}

} // namespace qrx::iokit
