#include "MonotonicTimer.h"

#include "SystemError.h"

#include <cerrno>
#include <cstdint>

namespace qrx::platform {

namespace {

timespec timeOf(std::chrono::nanoseconds duration)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    return {seconds.count(), (duration - seconds).count()};
}

} // namespace

MonotonicTimer::MonotonicTimer() : MonotonicTimer(SystemCalls::ofProcess())
{
    if (!_timer.isOpen()) {
        throwSystemError(errno, "no timer can be made");
    }
}

bool MonotonicTimer::setDue(Time due)
{
    const Time now = _calls.now();
    // A length of 0 would switch the timer off.
    return set(due > now ? due - now : std::chrono::nanoseconds(1), {});
}

bool MonotonicTimer::setInterval(std::chrono::nanoseconds interval)
{
    return set(interval, interval);
}

bool MonotonicTimer::clear()
{
    return set({}, {});
}

bool MonotonicTimer::set(std::chrono::nanoseconds first, std::chrono::nanoseconds interval)
{
    // The timer of a child that fork made is its parent's: setting it would change when the parent wakes.
    if (!_timer.isOpen() || _process.isInherited()) {
        errno = EBADF;
        return false;
    }
    return _calls.timerSet(_timer.get(), {timeOf(interval), timeOf(first)}) == 0;
}

bool MonotonicTimer::take()
{
    // The timer does not block: the read fails where it has not run out, or where another thread has taken it or set it
    // anew.
    std::uint64_t expirations = 0;
    return _timer.isOpen() && !_process.isInherited() &&
           _calls.read(_timer.get(), &expirations, sizeof expirations) == sizeof expirations;
}

} // namespace qrx::platform
