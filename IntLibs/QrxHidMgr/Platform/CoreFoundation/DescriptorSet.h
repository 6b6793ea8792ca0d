#pragma once

/// A set of file descriptors that one thread waits for.

#include "Deadline.h"

#include <cstdint>
#include <optional>

namespace qrx::cf {

/// An epoll instance. Level-triggered: a descriptor is reported as long as it is readable or in a state of error. The
/// members are reported in turn, so that none starves. watch and unwatch may be called from any thread, wait and close
/// by the owning thread alone.
class DescriptorSet {
public:
    /// Ends the process if the system has no descriptor left: a loop cannot exist without one.
    DescriptorSet();
    DescriptorSet(const DescriptorSet&) = delete;
    DescriptorSet& operator=(const DescriptorSet&) = delete;
    ~DescriptorSet();

    /// Readable while a member is. -1 once closed.
    int descriptor() const { return _epollFd; }

    /// Adds a descriptor under a token. Returns what unwatch takes: the descriptor itself, or a duplicate of the set's
    /// own if it is a member already; -1 if it cannot be watched (a closed descriptor, a plain file).
    int watch(int descriptor, std::uint64_t token);

    /// `watched` is a result of watch for `descriptor`.
    void unwatch(int watched, int descriptor);

    /// Waits for the next member that is readable: one system call. Nothing if the deadline passes first, or if a
    /// signal interrupts.
    std::optional<std::uint64_t> wait(const Deadline& deadline);

    void close();

private:
    int _epollFd;
};

} // namespace qrx::cf
