#include "SystemCalls.h"

#include "NeverDestroyed.h"

#include <atomic>
#include <cerrno>

#include <dirent.h>
#include <fcntl.h>
#include <linux/magic.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <sys/ioctl.h>
#include <sys/statfs.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace qrx::platform {

SystemCalls& SystemCalls::kernel()
{
    // Never destroyed, because channels may be closed by destructors that run at the end of the process. Without an
    // allocation, because descriptors are closed where memory is short.
    static NeverDestroyed<SystemCalls> sm_Kernel;
    return sm_Kernel.value;
}

namespace {

constinit std::atomic<SystemCalls*> sm_Replacement{nullptr};

/// The kernel's __kernel_timespec, 64 bits wide on every machine, as a plain system call wants it.
struct KernelTime {
    std::int64_t seconds;
    std::int64_t nanoseconds;
};

} // namespace

SystemCalls& SystemCalls::ofProcess()
{
    SystemCalls* const replacement = sm_Replacement.load(std::memory_order_acquire);
    return replacement != nullptr ? *replacement : kernel();
}

SystemCalls* SystemCalls::replaceOfProcess(SystemCalls* calls)
{
    return sm_Replacement.exchange(calls, std::memory_order_acq_rel);
}

int SystemCalls::openAt(int directory, const char* path, int flags)
{
    // No retry here, or in any other call: what an interruption means is decided where the call is made.
    return ::openat(directory, path, flags);
}

int SystemCalls::close(int fd)
{
    // Never repeated after EINTR: Linux has released the number by then.
    return ::close(fd);
}

// read and readv are plain system calls. The C library's functions are also cancellation points, which costs 54
// instructions each, and no descriptor that is read here makes a thread wait.

ssize_t SystemCalls::read(int fd, void* buffer, std::size_t size)
{
    return ::syscall(SYS_read, fd, buffer, size);
}

ssize_t SystemCalls::readv(int fd, const iovec* segments, int count)
{
    return ::syscall(SYS_readv, fd, segments, count);
}

ssize_t SystemCalls::readvFlagged(int fd, const iovec* segments, int count, int flags)
{
    // -1 is the file's own position, so this reads on where readv would.
    return ::preadv2(fd, segments, count, -1, flags);
}

ssize_t SystemCalls::write(int fd, const void* bytes, std::size_t size)
{
    return ::write(fd, bytes, size);
}

int SystemCalls::control(int fd, unsigned long request, void* argument)
{
    return ::ioctl(fd, request, argument);
}

ssize_t SystemCalls::listEntries(int directory, void* buffer, std::size_t size)
{
    return ::getdents64(directory, buffer, size);
}

ssize_t SystemCalls::readLinkAt(int directory, const char* path, char* buffer, std::size_t size)
{
    return ::readlinkat(directory, path, buffer, size);
}

int SystemCalls::status(const char* path, struct stat& facts)
{
    return ::stat(path, &facts);
}

int SystemCalls::exists(const char* path)
{
    // `access` follows links and opens nothing, so it cannot wake a device.
    return ::access(path, F_OK);
}

bool SystemCalls::isSysfs(int directory)
{
    struct statfs facts = {};
    return ::fstatfs(directory, &facts) == 0 && facts.f_type == SYSFS_MAGIC;
}

int SystemCalls::epollCreate()
{
    // Every descriptor of the library is close-on-exec: a program that the application starts must not keep devices
    // open.
    return ::epoll_create1(EPOLL_CLOEXEC);
}

int SystemCalls::epollAdd(int epollFd, int fd, epoll_event& interest)
{
    return ::epoll_ctl(epollFd, EPOLL_CTL_ADD, fd, &interest);
}

int SystemCalls::epollRemove(int epollFd, int fd)
{
    epoll_event unused{}; // kernels before 2.6.9 refuse a null pointer
    return ::epoll_ctl(epollFd, EPOLL_CTL_DEL, fd, &unused);
}

int SystemCalls::epollWait(int epollFd, epoll_event* events, int count, int timeoutMs)
{
    return kernelEpollWait(epollFd, events, count, timeoutMs);
}

int SystemCalls::epollWaitPrecisely(int epollFd, epoll_event* events, int count, std::chrono::nanoseconds timeout)
{
#ifdef SYS_epoll_pwait2
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    const KernelTime time{seconds.count(), (timeout - seconds).count()};
    return static_cast<int>(::syscall(SYS_epoll_pwait2, epollFd, events, count, &time, nullptr, std::size_t{0}));
#else
    static_cast<void>(epollFd), static_cast<void>(events), static_cast<void>(count), static_cast<void>(timeout);
    errno = ENOSYS;
    return -1;
#endif
}

int SystemCalls::poll(pollfd* descriptors, std::size_t count, int timeoutMs)
{
    return ::poll(descriptors, count, timeoutMs);
}

int SystemCalls::duplicate(int fd)
{
    // Not dup: another thread may start a program before the flag is set.
    return ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
}

int SystemCalls::eventCreate()
{
    return ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
}

int SystemCalls::timerCreate()
{
    // The clock behind std::chrono::steady_clock, by which callers compute when the timer is due.
    return ::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
}

int SystemCalls::timerSet(int fd, const itimerspec& when)
{
    return ::timerfd_settime(fd, 0, &when, nullptr);
}

int SystemCalls::inotifyCreate()
{
    return ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
}

int SystemCalls::inotifyWatch(int fd, const char* path, std::uint32_t events)
{
    return ::inotify_add_watch(fd, path, events);
}

std::chrono::system_clock::time_point SystemCalls::wallTime()
{
    return std::chrono::system_clock::now();
}

std::chrono::steady_clock::time_point SystemCalls::now()
{
    return std::chrono::steady_clock::now();
}

} // namespace qrx::platform
