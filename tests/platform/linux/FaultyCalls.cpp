#include "FaultyCalls.h"

#include <cerrno>

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
        errno = _error;
        return false;
    }
    return true;
}

int FaultyCalls::openAt(int directory, const char* path, int flags)
{
    if (!begin(std::string("open ") + path)) {
        return -1;
    }
    const int fd = SystemCalls::openAt(directory, path, flags);
    if (fd >= 0) {
        _open.insert(fd);
    }
    return fd;
}

int FaultyCalls::close(int fd)
{
    // The kernel closes the descriptor whatever it answers.
    const bool succeeds = begin("close");
    _open.erase(fd);
    const int result = SystemCalls::close(fd);
    if (!succeeds) {
        errno = _error;
        return -1;
    }
    return result;
}

ssize_t FaultyCalls::read(int fd, void* buffer, std::size_t size)
{
    return begin("read") ? SystemCalls::read(fd, buffer, size) : -1;
}

ssize_t FaultyCalls::readv(int fd, const iovec* segments, int count)
{
    return begin("readv") ? SystemCalls::readv(fd, segments, count) : -1;
}

ssize_t FaultyCalls::readvFlagged(int fd, const iovec* segments, int count, int flags)
{
    return begin("preadv2") ? SystemCalls::readvFlagged(fd, segments, count, flags) : -1;
}

ssize_t FaultyCalls::write(int fd, const void* bytes, std::size_t size)
{
    return begin("write") ? SystemCalls::write(fd, bytes, size) : -1;
}

int FaultyCalls::control(int fd, unsigned long request, void* argument)
{
    return begin("ioctl") ? SystemCalls::control(fd, request, argument) : -1;
}

ssize_t FaultyCalls::listEntries(int directory, void* buffer, std::size_t size)
{
    return begin("getdents") ? SystemCalls::listEntries(directory, buffer, size) : -1;
}

ssize_t FaultyCalls::readLinkAt(int directory, const char* path, char* buffer, std::size_t size)
{
    return begin(std::string("readlink ") + path) ? SystemCalls::readLinkAt(directory, path, buffer, size) : -1;
}

int FaultyCalls::status(const char* path, struct stat& facts)
{
    return begin(std::string("stat ") + path) ? SystemCalls::status(path, facts) : -1;
}

int FaultyCalls::exists(const char* path)
{
    return begin(std::string("access ") + path) ? SystemCalls::exists(path) : -1;
}

bool FaultyCalls::isSysfs(int directory)
{
    return begin("fstatfs") && SystemCalls::isSysfs(directory);
}

int FaultyCalls::epollWait(int epollFd, epoll_event* events, int count, int timeoutMs)
{
    return begin("epoll_wait") ? SystemCalls::epollWait(epollFd, events, count, timeoutMs) : -1;
}

} // namespace qrx::platform::test
