#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include <poll.h>
#include <sys/epoll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/timerfd.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

namespace qrx::platform {

/// The calls by which the platform reaches the kernel, one operation a call, with the kernel's own conventions:
/// -1 and errno on failure. The base class makes the real calls; a test derives from it to count them, to make one of
/// them fail, or to answer in a device's place.
///
/// Used from any thread, several at once. It must outlive every provider, port and channel that was made with it.
class SystemCalls {
public:
    SystemCalls() = default;
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;
    virtual ~SystemCalls() = default;

    /// The real ones; lives as long as the process.
    static SystemCalls& kernel();
    /// The calls for objects that are made without being given any, such as run loops and notification ports: the
    /// kernel's, unless a test has put others in their place.
    static SystemCalls& ofProcess();
    /// Puts others in the place of the kernel's, or takes them away again (null), for what is made from then on. They
    /// must outlive that. Returns what was there.
    static SystemCalls* replaceOfProcess(SystemCalls* calls);

    /// openat(2); `directory` is AT_FDCWD or an open directory.
    virtual int openAt(int directory, const char* path, int flags);
    virtual int close(int fd);
    virtual ssize_t read(int fd, void* buffer, std::size_t size);
    virtual ssize_t readv(int fd, const iovec* segments, int count);
    /// preadv2(2) at the file's own position.
    virtual ssize_t readvFlagged(int fd, const iovec* segments, int count, int flags);
    virtual ssize_t write(int fd, const void* bytes, std::size_t size);
    /// ioctl(2) with an argument in memory.
    virtual int control(int fd, unsigned long request, void* argument);
    /// getdents64(2): raw directory entries.
    virtual ssize_t listEntries(int directory, void* buffer, std::size_t size);
    /// readlinkat(2).
    virtual ssize_t readLinkAt(int directory, const char* path, char* buffer, std::size_t size);
    /// stat(2).
    virtual int status(const char* path, struct stat& facts);
    /// access(2) for existence alone.
    virtual int exists(const char* path);
    /// fstatfs(2): whether the directory is the kernel's sysfs (and not a copy of such a tree elsewhere).
    virtual bool isSysfs(int directory);
    /// epoll_create1(2), closed at an exec.
    virtual int epollCreate();
    /// epoll_ctl(2) with EPOLL_CTL_ADD.
    virtual int epollAdd(int epollFd, int fd, epoll_event& interest);
    /// epoll_ctl(2) with EPOLL_CTL_DEL.
    virtual int epollRemove(int epollFd, int fd);
    virtual int epollWait(int epollFd, epoll_event* events, int count, int timeoutMs);
    /// The kernel's epollWait without a virtual call, for callers that know that no test has replaced it. Every report
    /// takes this way, and a virtual call is measurable there.
    static int kernelEpollWait(int epollFd, epoll_event* events, int count, int timeoutMs)
    {
#ifdef SYS_epoll_wait
        // A plain system call. The C library's function is also a cancellation point, which costs 54 instructions, and
        // a look that does not wait need not be one.
        if (timeoutMs == 0) {
            return static_cast<int>(::syscall(SYS_epoll_wait, epollFd, events, count, 0));
        }
#endif
        return ::epoll_wait(epollFd, events, count, timeoutMs);
    }
    /// epoll_pwait2(2): with nanoseconds, where the kernel has it (5.11). ENOSYS where it has not; EPERM in sandboxes
    /// that refuse unknown calls.
    virtual int epollWaitPrecisely(int epollFd, epoll_event* events, int count, std::chrono::nanoseconds timeout);
    virtual int poll(pollfd* descriptors, std::size_t count, int timeoutMs);
    /// fcntl(2) with F_DUPFD_CLOEXEC.
    virtual int duplicate(int fd);
    /// eventfd(2): non-blocking, closed at an exec.
    virtual int eventCreate();
    /// timerfd_create(2): of the monotonic clock, non-blocking, closed at an exec.
    virtual int timerCreate();
    /// timerfd_settime(2), relative.
    virtual int timerSet(int fd, const itimerspec& when);
    /// inotify_init1(2): non-blocking, closed at an exec.
    virtual int inotifyCreate();
    /// inotify_add_watch(2).
    virtual int inotifyWatch(int fd, const char* path, std::uint32_t events);
    /// Monotonic time; no system call on the machines that matter (vDSO).
    virtual std::chrono::steady_clock::time_point now();
    /// The time that files are stamped with.
    virtual std::chrono::system_clock::time_point wallTime();
};

} // namespace qrx::platform
