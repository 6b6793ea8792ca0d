#include "MonotonicTimer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <system_error>

namespace qrx::platform {

// The monotonic clock: setting the time of day neither delays a timer nor fires it.
MonotonicTimer::MonotonicTimer() : _timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK))
{
    if (!_timer.isOpen()) {
        throw std::system_error(errno, std::generic_category(), "no timer can be made");
    }
}

std::uint64_t MonotonicTimer::nowUs()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 + static_cast<std::uint64_t>(now.tv_nsec) / 1'000;
}

void MonotonicTimer::setDue(std::uint64_t timeUs)
{
    // A time of 0 would disarm the timer.
    timeUs = std::max<std::uint64_t>(timeUs, 1);
    itimerspec due{};
    due.it_value.tv_sec = static_cast<time_t>(timeUs / 1'000'000);
    due.it_value.tv_nsec = static_cast<long>(timeUs % 1'000'000 * 1'000);
    set(due);
}

void MonotonicTimer::clear()
{
    set({});
}

void MonotonicTimer::set(const itimerspec& due)
{
    if (!_process.isInherited()) {
        ::timerfd_settime(_timer.get(), TFD_TIMER_ABSTIME, &due, nullptr);
    }
}

} // namespace qrx::platform
