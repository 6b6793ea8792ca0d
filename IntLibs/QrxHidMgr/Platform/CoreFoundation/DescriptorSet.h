#pragma once

/// A set of file descriptors that one thread waits for.

#include "Base/FileDescriptor.h"
#include "Base/ProcessMark.h"
#include "Deadline.h"

#include <cstdint>
#include <optional>

namespace qrx::cf {

/// An epoll instance. Level-triggered: a descriptor is reported as long as it is readable or in a state of error. The
/// members are reported in turn, so that none starves. watch and unwatch may be called from any thread, wait and close
/// by the owning thread alone. A child that fork made cannot change or wait for its parent's set, only close it.
class DescriptorSet {
public:
    /// Throws std::system_error if the system has no descriptor left.
    DescriptorSet();
    DescriptorSet(const DescriptorSet&) = delete;
    DescriptorSet& operator=(const DescriptorSet&) = delete;

    /// Readable while a member is. -1 once closed.
    int descriptor() const { return _epoll.get(); }

    /// Adds a descriptor under a token. Returns what unwatch takes: the descriptor itself, or a duplicate of the set's
    /// own if it is a member already; -1 if it cannot be watched (a closed descriptor, a plain file).
    int watch(int descriptor, std::uint64_t token);

    /// `watched` is a result of watch for `descriptor`.
    void unwatch(int watched, int descriptor);

    /// Waits for the next member that is readable: one system call. Nothing if the deadline passes first, or if a
    /// signal interrupts. Throws std::system_error if somebody else has closed the set's descriptor.
    std::optional<std::uint64_t> wait(const Deadline& deadline);

    void close() { _epoll = platform::FileDescriptor(); }

private:
    platform::FileDescriptor _epoll;
    const platform::ProcessMark _process;
};

} // namespace qrx::cf
