#pragma once

#include <utility>

#include <unistd.h>

namespace qrx::platform {

/// A file descriptor that is closed with its owner; -1 is none.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : _fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : _fd(std::exchange(other._fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor other) noexcept
    {
        std::swap(_fd, other._fd);
        return *this;
    }
    ~FileDescriptor()
    {
        if (_fd >= 0) {
            ::close(_fd);
        }
    }

    int get() const { return _fd; }
    bool isOpen() const { return _fd >= 0; }
    /// The caller's from now on.
    int release() { return std::exchange(_fd, -1); }

private:
    int _fd = -1;
};

} // namespace qrx::platform
