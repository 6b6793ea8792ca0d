#pragma once

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <sys/resource.h>

/// Leaves this process `free` file descriptors that it may still open, until the end of the object.
///
/// UndefinedBehaviorSanitizer needs descriptors to check the first virtual call of a class, and without them calls the
/// object invalid. So a test does once before what it is going to do below the limit, where classes with virtual
/// functions are made; those of exceptions are seen to here.
class DescriptorLimit {
public:
    explicit DescriptorLimit(std::size_t free)
    {
        if (::getrlimit(RLIMIT_NOFILE, &_before) != 0) {
            throw std::runtime_error("getrlimit");
        }
        warmSanitizer();
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
    /// The classes of all that is thrown for lack of descriptors.
    static void warmSanitizer()
    {
        try {
            throw std::system_error(EMFILE, std::generic_category());
        } catch (const std::system_error& failure) {
            static_cast<void>(failure.code().message());
        }
    }

    rlimit _before{};
    rlimit _limit{};
};
