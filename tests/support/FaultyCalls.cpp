#include "FaultyCalls.h"

#include <cerrno>
#include <utility>

#include <sys/eventfd.h>

namespace qrx::platform::test {

FaultyCalls::~FaultyCalls() = default;

void FaultyCalls::failCall(int number, int error)
{
    _count = 0;
    _failing = number;
    _failsOn = false;
    _error = error;
}

void FaultyCalls::failFrom(int number, int error)
{
    failCall(number, error);
    _failsOn = true;
}

void FaultyCalls::beforeCall(int number, std::function<void()> action)
{
    _count = 0;
    _actionAt = number;
    _action = std::move(action);
}

bool FaultyCalls::begin(const std::string& what)
{
    ++_count;
    _trace += what + "\n";
    if (_action && _count == _actionAt) {
        _action();
    }
    if (_failing != 0 && (_count == _failing || (_failsOn && _count > _failing))) {
        ++_failures;
        errno = _error;
        return false;
    }
    return true;
}

int FaultyCalls::opened(int fd)
{
    if (fd >= 0) {
        _open.insert(fd);
    }
    return fd;
}

void FaultyCalls::closeOpen()
{
    for (const int fd : std::exchange(_open, {})) {
        _next.close(fd);
    }
}

int FaultyCalls::openAt(int directory, const char* path, int flags)
{
    if (!begin(std::string("open ") + path)) {
        return -1;
    }
    return opened(_next.openAt(directory, path, flags));
}

int FaultyCalls::close(int fd)
{
    // The kernel closes the descriptor whatever it answers.
    const bool succeeds = begin("close");
    _open.erase(fd);
    _timers.erase(fd);
    const int result = _next.close(fd);
    if (!succeeds) {
        errno = _error;
        return -1;
    }
    return result;
}

ssize_t FaultyCalls::read(int fd, void* buffer, std::size_t size)
{
    return begin("read") ? _next.read(fd, buffer, size) : -1;
}

ssize_t FaultyCalls::readv(int fd, const iovec* segments, int count)
{
    return begin("readv") ? _next.readv(fd, segments, count) : -1;
}

ssize_t FaultyCalls::readvFlagged(int fd, const iovec* segments, int count, int flags)
{
    return begin("preadv2") ? _next.readvFlagged(fd, segments, count, flags) : -1;
}

ssize_t FaultyCalls::write(int fd, const void* bytes, std::size_t size)
{
    return begin("write") ? _next.write(fd, bytes, size) : -1;
}

int FaultyCalls::control(int fd, unsigned long request, void* argument)
{
    return begin("ioctl") ? _next.control(fd, request, argument) : -1;
}

ssize_t FaultyCalls::listEntries(int directory, void* buffer, std::size_t size)
{
    return begin("getdents") ? _next.listEntries(directory, buffer, size) : -1;
}

ssize_t FaultyCalls::readLinkAt(int directory, const char* path, char* buffer, std::size_t size)
{
    return begin(std::string("readlink ") + path) ? _next.readLinkAt(directory, path, buffer, size) : -1;
}

int FaultyCalls::status(const char* path, struct stat& facts)
{
    return begin(std::string("stat ") + path) ? _next.status(path, facts) : -1;
}

int FaultyCalls::exists(const char* path)
{
    return begin(std::string("access ") + path) ? _next.exists(path) : -1;
}

bool FaultyCalls::isSysfs(int directory)
{
    return begin("fstatfs") && _next.isSysfs(directory);
}

int FaultyCalls::epollCreate()
{
    return begin("epoll_create") ? opened(_next.epollCreate()) : -1;
}

int FaultyCalls::epollAdd(int epollFd, int fd, epoll_event& interest)
{
    return begin("epoll_ctl") ? _next.epollAdd(epollFd, fd, interest) : -1;
}

int FaultyCalls::epollWait(int epollFd, epoll_event* events, int count, int timeoutMs)
{
    return begin("epoll_wait") ? _next.epollWait(epollFd, events, count, timeoutMs) : -1;
}

int FaultyCalls::epollRemove(int epollFd, int fd)
{
    return begin("epoll_ctl del") ? _next.epollRemove(epollFd, fd) : -1;
}

int FaultyCalls::epollWaitPrecisely(int epollFd, epoll_event* events, int count, std::chrono::nanoseconds timeout)
{
    return begin("epoll_pwait2") ? _next.epollWaitPrecisely(epollFd, events, count, timeout) : -1;
}

int FaultyCalls::poll(pollfd* descriptors, std::size_t count, int timeoutMs)
{
    return begin("poll") ? _next.poll(descriptors, count, timeoutMs) : -1;
}

int FaultyCalls::duplicate(int fd)
{
    return begin("dup") ? opened(_next.duplicate(fd)) : -1;
}

int FaultyCalls::eventCreate()
{
    return begin("eventfd") ? opened(_next.eventCreate()) : -1;
}

int FaultyCalls::inotifyCreate()
{
    return begin("inotify_init") ? opened(_next.inotifyCreate()) : -1;
}

int FaultyCalls::inotifyWatch(int fd, const char* path, std::uint32_t events)
{
    return begin("inotify_add_watch") ? _next.inotifyWatch(fd, path, events) : -1;
}

int FaultyCalls::timerCreate()
{
    if (!begin("timerfd_create")) {
        return -1;
    }
    const int fd = opened(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    _timers[fd] = {};
    return fd;
}

int FaultyCalls::timerSet(int fd, const itimerspec& when)
{
    if (!begin("timerfd_settime")) {
        return -1;
    }
    const auto length = [](const timespec& time) {
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    eventfd_t ranOut = 0;
    ::eventfd_read(fd, &ranOut);
    Timer& timer = _timers.at(fd);
    const std::chrono::nanoseconds first = length(when.it_value);
    timer.due = first.count() != 0 ? std::optional(_now + first) : std::nullopt;
    timer.interval = length(when.it_interval);
    if (first == std::chrono::nanoseconds(1)) { // what should have run out before
        runOut(fd, timer);
    }
    return 0;
}

void FaultyCalls::runOut(int fd, Timer& timer)
{
    ::eventfd_write(fd, 1);
    timer.due = timer.interval.count() != 0 ? std::optional(*timer.due + timer.interval) : std::nullopt;
}

void FaultyCalls::advance(std::chrono::milliseconds time)
{
    _now += time;
    _advanced += time;
    for (auto& [fd, timer] : _timers) {
        while (timer.due && *timer.due <= _now) {
            runOut(fd, timer);
        }
    }
}

} // namespace qrx::platform::test
