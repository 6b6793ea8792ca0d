#pragma once

#include <chrono>
#include <thread>

namespace qrx::guest {

/// How long a test waits for what the kernel surely does: plug events take under a second in the emulated guest, so
/// this passes only when something is broken.
inline constexpr std::chrono::milliseconds kPatience{30000};

/// Asks `condition` again and again until it holds. Returns false if it did not within `limit`.
template <typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds limit = kPatience)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

} // namespace qrx::guest
