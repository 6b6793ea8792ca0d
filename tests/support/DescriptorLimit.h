#pragma once

#include <cstddef>
#include <stdexcept>

#include <fcntl.h>
#include <sys/resource.h>

#ifdef __has_feature
#if __has_feature(undefined_behavior_sanitizer)
#include <sys/syscall.h>
#include <unistd.h>

/// The sanitizer's, in place of the C library's. Nothing of ours makes a pipe below a limit.
extern "C" [[gnu::used, gnu::weak]] int pipe(int descriptors[2]) noexcept
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    rlimit most = limit;
    most.rlim_cur = most.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &most);
    const long made = ::syscall(SYS_pipe2, descriptors, 0);
    ::setrlimit(RLIMIT_NOFILE, &limit);
    return static_cast<int>(made);
}
#endif
#endif

/// Leaves this process `free` file descriptors that it may still open, until the end of the object.
///
/// UndefinedBehaviorSanitizer looks at the class of an object through a pipe, again and again since it remembers few
/// classes, and without descriptors calls the object invalid. It gets its pipe whatever the limit is (see below).
class DescriptorLimit {
public:
    explicit DescriptorLimit(std::size_t free)
    {
        if (::getrlimit(RLIMIT_NOFILE, &_before) != 0) {
            throw std::runtime_error("getrlimit");
        }
        _limit = _before;
        _limit.rlim_cur = 0;
        // Numbers below the limit that are not taken.
        for (std::size_t left = free + 1; left > 0; ++_limit.rlim_cur) {
            if (::fcntl(static_cast<int>(_limit.rlim_cur), F_GETFD) < 0 && --left == 0) {
                break;
            }
        }
        impose();
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { lift(); }

    /// No limit for a while, and the same one again: the numbers below it, whatever has been opened meanwhile.
    void lift() { ::setrlimit(RLIMIT_NOFILE, &_before); }
    void impose()
    {
        if (::setrlimit(RLIMIT_NOFILE, &_limit) != 0) {
            throw std::runtime_error("setrlimit");
        }
    }

private:
    rlimit _before{};
    rlimit _limit{};
};
