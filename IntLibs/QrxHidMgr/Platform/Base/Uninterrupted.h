#pragma once

#include <cerrno>

namespace qrx::platform {

/// Makes a system call again as long as a signal interrupts it.
template <typename Call>
auto uninterrupted(Call call)
{
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

} // namespace qrx::platform
