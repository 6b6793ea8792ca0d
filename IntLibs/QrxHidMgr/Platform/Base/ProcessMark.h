#pragma once

/// fork, as it concerns objects that stand for something of the kernel's.

#include <atomic>
#include <new>

#include <pthread.h>

namespace qrx::platform {

/// Remembers the process that made an object.
///
/// A child that fork makes has copies of the parent's descriptors, but shares what they stand for: what it adds to an
/// epoll set, writes to an event counter, sets in a timer or reads from a queue happens to its parent. So whatever owns
/// such a thing carries a mark, and in a child does nothing but close its descriptors.
class ProcessMark {
public:
    ProcessMark() : _generation(currentGeneration()) {}

    /// True in a child that fork has made since. No system call. Children that share the parent's memory until they run
    /// another program (vfork, posix_spawn) are not noticed, and touch nothing. Children of clone and _Fork,
    /// which call no fork handlers, are not noticed either.
    bool isInherited() const { return _generation != sm_Generation.load(std::memory_order_relaxed); }

private:
    static unsigned currentGeneration()
    {
        static const bool sm_IsRegistered = [] {
            if (::pthread_atfork(nullptr, nullptr, [] { ++sm_Generation; }) != 0) {
                throw std::bad_alloc();
            }
            return true;
        }();
        static_cast<void>(sm_IsRegistered);
        return sm_Generation.load(std::memory_order_relaxed);
    }

    static inline constinit std::atomic<unsigned> sm_Generation{0};

    unsigned _generation;
};

} // namespace qrx::platform
