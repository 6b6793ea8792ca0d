#pragma once

#include <utility>

#include <unistd.h>

namespace qrx::iokit {

/// A file descriptor that is closed with its owner; -1 is none.
class OwnedFd {
public:
    OwnedFd() = default;
    explicit OwnedFd(int fd) : _fd(fd) {}
    OwnedFd(OwnedFd&& other) noexcept : _fd(std::exchange(other._fd, -1)) {}
    OwnedFd& operator=(OwnedFd other) noexcept
    {
        std::swap(_fd, other._fd);
        return *this;
    }
    ~OwnedFd()
    {
        if (_fd >= 0) {
            ::close(_fd);
        }
    }

    int get() const { return _fd; }

private:
    int _fd = -1;
};

} // namespace qrx::iokit
