#pragma once

/// A set of file descriptors that one thread waits for.

#include "Base/Deadline.h"
#include "Base/EpollSet.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace qrx::cf {

/// Reports a descriptor as long as it is readable or in a state of error. Every descriptor may be watched more than
/// once. The members are reported in turn, so that none starves: one look at the set may find several members, which
/// are reported one after the other before the next look. watch and unwatch may be called from any thread, the others
/// by the owning thread alone. In a child that fork made, watch and unwatch leave the parent's set alone; the run loop
/// refuses to run there before it comes to wait.
class DescriptorSet {
public:
    /// Throws std::system_error if the system has no descriptor left.
    DescriptorSet();
    DescriptorSet(const DescriptorSet&) = delete;
    DescriptorSet& operator=(const DescriptorSet&) = delete;

    /// Readable while a member is. -1 once closed.
    int descriptor() const { return _set.descriptor(); }

    /// Adds a descriptor under a token. Returns what unwatch takes: the descriptor itself, or a duplicate of the set's
    /// own if it is a member already; -1 if it cannot be watched (a closed descriptor, a plain file).
    int watch(int descriptor, std::uint64_t token);

    /// `watched` is a result of watch for `descriptor`.
    void unwatch(int watched, int descriptor);

    /// How many members a look may find.
    enum class Look { one, several };

    /// The next member that the last look has found; nothing if there is none. No system call.
    std::optional<std::uint64_t> takeFound()
    {
        return _nextFound < _foundCount && !_isFoundDoubtful ? std::optional(tokenOf(_found[_nextFound++]))
                                                             : std::nullopt;
    }
    /// Looks for readable members until there are some, and reports the first: one system call. Nothing if the deadline
    /// passes first, or if a signal interrupts. What the last look has found and takeFound has not given is reported
    /// only if it is found again, and then before the rest. Throws std::system_error if somebody else has closed the
    /// set's descriptor.
    std::optional<std::uint64_t> wait(platform::Deadline deadline, Look looks = Look::one)
    {
        if (_nextFound < _foundCount) [[unlikely]] {
            lookForOwed(deadline);
        } else {
            // Asked for fewer than are ready, epoll goes round through them (epoll_wait(2), "round robin"): what is
            // not found now comes before what was.
            look(deadline, looks == Look::one ? 1 : kMostFound);
        }
        return takeFound();
    }
    /// Marks what the last look has found as doubtful: a member is then handed out only after another look has found it
    /// again, and before all others.
    void doubtFound() { _isFoundDoubtful = true; }

    void close() { _set.close(); }

private:
    /// Members that one look may find. What becomes readable later waits until all of them are served, and with 16
    /// sharing the cost of a system call, more would save little.
    static constexpr std::size_t kMostFound = 16;

    using Found = std::array<epoll_event, kMostFound>;

    static std::uint64_t tokenOf(const epoll_event& event) { return event.data.u64; }
    void look(platform::Deadline deadline, std::size_t most)
    {
        const auto room = std::span(_found).first(most);
        const int count = deadline.isNow() ? _set.findReady(room) : waitUntil(deadline, room);
        _foundCount = count > 0 ? static_cast<std::size_t>(count) : 0;
        _nextFound = 0;
        _isFoundDoubtful = false;
        if (count < 0) [[unlikely]] {
            noteFailure();
        }
    }
    int waitUntil(platform::Deadline deadline, std::span<epoll_event> room);
    void lookForOwed(platform::Deadline deadline);
    /// By errno.
    void noteFailure();

    platform::SystemCalls& _calls;
    platform::EpollSet _set;
    // Used by the owning thread alone: what the last look has found. Those before _nextFound were given.
    Found _found;
    std::size_t _nextFound = 0;
    std::size_t _foundCount = 0;
    bool _isFoundDoubtful = false;
};

} // namespace qrx::cf
