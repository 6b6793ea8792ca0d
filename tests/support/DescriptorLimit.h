#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include <fcntl.h>
#include <sys/resource.h>

/// Leaves this process `free` file descriptors that it may still open, until the end of the object.
class DescriptorLimit {
public:
    explicit DescriptorLimit(std::size_t free)
    {
        if (::getrlimit(RLIMIT_NOFILE, &_before) != 0) {
            throw std::runtime_error("getrlimit");
        }
        rlimit limit = _before;
        limit.rlim_cur = 0;
        // Numbers below the limit that are not taken.
        for (std::size_t left = free + 1; left > 0; ++limit.rlim_cur) {
            if (::fcntl(static_cast<int>(limit.rlim_cur), F_GETFD) < 0 && --left == 0) {
                break;
            }
        }
        if (::setrlimit(RLIMIT_NOFILE, &limit) != 0) {
            throw std::runtime_error("setrlimit");
        }
    }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &_before); }

private:
    rlimit _before{};
};
