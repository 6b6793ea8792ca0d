#pragma once

#include "Base/SystemCalls.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace qrx::platform::test {

/// The kernel's calls, or those of a stand-in, counted, with a clock and timers that the test sets, and with one call
/// of choice failing.
class FaultyCalls : public SystemCalls {
public:
    /// Calls that do not fail go to `next`, which must outlive this.
    explicit FaultyCalls(SystemCalls& next = SystemCalls::kernel()) : _next(next) {}
    ~FaultyCalls() override;

    /// Makes the call of this number (1 is the next one) fail with this errno.
    void failCall(int number, int error);
    /// Makes every call fail from that number on.
    void failFrom(int number, int error);
    void failNone() { failCall(0, 0); }
    /// Calls that were made to fail so far.
    int failures() const { return _failures; }

    /// Runs before the call of this number: the test changes the machine between two calls.
    void beforeCall(int number, std::function<void()> action);

    /// Calls since the last reset, close included.
    int count() const { return _count; }
    void resetCount() { _count = 0; }
    /// One line for each call since the last reset.
    const std::string& trace() const { return _trace; }
    void resetTrace() { _trace.clear(); }
    /// Descriptors that were made by one of these calls and not closed.
    std::size_t openDescriptors() const { return _open.size(); }
    /// Closes them.
    void closeOpen();

    /// Counts a call; false with errno if it is to fail. For stand-ins whose calls come from elsewhere.
    bool begin(const std::string& what);

    /// Time goes on; timers that are due by then run out.
    void advance(std::chrono::milliseconds time);

    int openAt(int directory, const char* path, int flags) override;
    int close(int fd) override;
    ssize_t read(int fd, void* buffer, std::size_t size) override;
    ssize_t readv(int fd, const iovec* segments, int count) override;
    ssize_t readvFlagged(int fd, const iovec* segments, int count, int flags) override;
    ssize_t write(int fd, const void* bytes, std::size_t size) override;
    int control(int fd, unsigned long request, void* argument) override;
    ssize_t listEntries(int directory, void* buffer, std::size_t size) override;
    ssize_t readLinkAt(int directory, const char* path, char* buffer, std::size_t size) override;
    int status(const char* path, struct stat& facts) override;
    int exists(const char* path) override;
    bool isSysfs(int directory) override;
    int epollCreate() override;
    int epollAdd(int epollFd, int fd, epoll_event& interest) override;
    int epollWait(int epollFd, epoll_event* events, int count, int timeoutMs) override;
    int epollRemove(int epollFd, int fd) override;
    int epollWaitPrecisely(int epollFd, epoll_event* events, int count, std::chrono::nanoseconds timeout) override;
    int poll(pollfd* descriptors, std::size_t count, int timeoutMs) override;
    int duplicate(int fd) override;
    int eventCreate() override;
    int timerCreate() override;
    int timerSet(int fd, const itimerspec& when) override;
    int inotifyCreate() override;
    int inotifyWatch(int fd, const char* path, std::uint32_t events) override;
    std::chrono::steady_clock::time_point now() override { return _now; }
    std::chrono::system_clock::time_point wallTime() override { return std::chrono::system_clock::now() + _advanced; }

private:
    using Time = std::chrono::steady_clock::time_point;
    /// A timer's descriptor is an event counter, which is read as a timer is.
    struct Timer {
        std::optional<Time> due;
        std::chrono::nanoseconds interval{0};
    };

    /// Keeps account of a new descriptor.
    int opened(int fd);
    void runOut(int fd, Timer& timer);

    SystemCalls& _next;
    int _count = 0;
    int _failures = 0;
    int _failing = 0;
    bool _failsOn = false;
    int _error = 0;
    int _actionAt = 0;
    std::function<void()> _action;
    std::string _trace;
    std::set<int> _open;
    std::map<int, Timer> _timers;
    Time _now{std::chrono::hours(1)};
    std::chrono::milliseconds _advanced{0};
};

} // namespace qrx::platform::test
