#pragma once

#include "FileDescriptor.h"
#include "ProcessMark.h"
#include "SystemCalls.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

namespace qrx::platform {

/// An epoll instance: descriptors that are waited for together. Level-triggered. A child that fork made shares its
/// parent's instance: there add fails and remove does nothing, but findReady and waitReady do not look, so their caller
/// asks isInherited first.
///
/// add and remove may be called from any thread, the others by one thread at a time.
class EpollSet {
public:
    /// Not open, with errno, if there is no descriptor free.
    explicit EpollSet(SystemCalls& calls)
        : _calls(calls), _isKernel(&calls == &SystemCalls::kernel()), _epoll(calls, calls.epollCreate())
    {
    }

    bool isOpen() const { return _epoll.isOpen(); }
    /// Readable while a member is. -1 once closed.
    int descriptor() const { return _epoll.get(); }
    /// True in a child that fork has made since.
    bool isInherited() const { return _process.isInherited(); }

    /// Adds a descriptor under a token. False with errno if that is not possible: EEXIST for a member.
    bool add(int fd, std::uint64_t token);
    /// A descriptor that is no member is no error: one that was closed has left the set by itself. (Not if a duplicate
    /// of it is open, in a child that fork made for instance: then the kernel goes on reporting it. So members are
    /// removed before they are closed.)
    void remove(int fd);

    /// Finds members that are readable or in a state of error, without waiting: their number, or -1 with errno.
    int findReady(std::span<epoll_event> found) { return wait(found, 0); }

    /// As findReady, but waits for a member, until the time has passed (nothing: for ever) or a signal interrupts.
    int waitReady(std::span<epoll_event> found, std::optional<std::chrono::nanoseconds> most);

    void close() { _epoll.close(); }
    /// The descriptor was closed by others: its number is nobody's now, or somebody else's.
    void abandon() { _epoll.release(); }

private:
    int wait(std::span<epoll_event> found, int timeoutMs)
    {
        const int size = static_cast<int>(found.size());
        return _isKernel ? SystemCalls::kernelEpollWait(_epoll.get(), found.data(), size, timeoutMs)
                         : _calls.epollWait(_epoll.get(), found.data(), size, timeoutMs);
    }

    SystemCalls& _calls;
    const bool _isKernel;
    FileDescriptor _epoll;
    /// False once the kernel has refused to wait with nanoseconds. The waiting thread's.
    bool _waitsPrecisely = true;
    const ProcessMark _process;
};

} // namespace qrx::platform
