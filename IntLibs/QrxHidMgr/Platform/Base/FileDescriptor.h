#pragma once

#include <utility>

namespace qrx::platform {

class SystemCalls;

/// Owns one file descriptor and closes it; -1 is none. Move only.
class FileDescriptor {
public:
    FileDescriptor() = default;
    /// One that the kernel gave.
    explicit FileDescriptor(int fd) : _fd(fd) {}
    /// One that `calls` gave, which is to close it too.
    FileDescriptor(SystemCalls& calls, int fd) : _calls(&calls), _fd(fd) {}
    FileDescriptor(FileDescriptor&& other) noexcept : _calls(other._calls), _fd(std::exchange(other._fd, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept
    {
        if (this != &other) {
            close();
            _calls = other._calls;
            _fd = std::exchange(other._fd, -1);
        }
        return *this;
    }
    ~FileDescriptor() { close(); }

    bool isOpen() const { return _fd >= 0; }
    /// -1 if there is none.
    int get() const { return _fd; }
    /// The caller's from now on.
    int release() { return std::exchange(_fd, -1); }
    /// Keeps errno.
    void close()
    {
        if (_fd >= 0) {
            closeOpen();
        }
    }

private:
    void closeOpen();

    /// Null: the kernel's.
    SystemCalls* _calls = nullptr;
    int _fd = -1;
};

} // namespace qrx::platform
