#pragma once

/// The moment until which a run of a loop waits.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>

namespace qrx::platform {

class Deadline {
public:
    using Clock = std::chrono::steady_clock;

    /// Has passed already: a wait only looks.
    static Deadline now() { return Deadline(Clock::time_point::min()); }

    /// In so many seconds, rounded up to nanoseconds; a number that is not above 0 means now, one above
    /// kForEverSeconds never.
    static Deadline after(double seconds)
    {
        if (!(seconds > 0)) {
            return now();
        }
        if (seconds > kForEverSeconds) {
            return Deadline(Clock::time_point::max());
        }
        return Deadline(Clock::now() + std::chrono::nanoseconds(static_cast<long long>(std::ceil(seconds * 1e9))));
    }

    /// A wait only looks.
    bool isNow() const { return _at == Clock::time_point::min(); }
    bool passed() const { return isNow() || (!isNever() && Clock::now() >= _at); }

    /// Never negative; nothing: for ever.
    std::optional<std::chrono::nanoseconds> remaining() const
    {
        if (isNever()) {
            return std::nullopt;
        }
        if (isNow()) {
            return std::chrono::nanoseconds::zero();
        }
        return std::max(std::chrono::nanoseconds::zero(), std::chrono::nanoseconds(_at - Clock::now()));
    }

private:
    /// Sixteen years: what the platform takes for "for ever".
    static constexpr double kForEverSeconds = 504911232.0;

    explicit Deadline(Clock::time_point at) : _at(at) {}
    bool isNever() const { return _at == Clock::time_point::max(); }

    Clock::time_point _at;
};

} // namespace qrx::platform
