#include "WatchSet.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

namespace qrx::platform {

namespace {

// There are at most three monitors and a timer.
constexpr std::size_t kMostReady = 8;

} // namespace

WatchSet::WatchSet(SystemCalls& calls, std::vector<std::unique_ptr<DeviceMonitor>> monitors)
    : _calls(calls), _monitors(std::move(monitors)), _timer(calls, calls.timerCreate()),
      _epoll(calls, calls.epollCreate())
{
}

std::unique_ptr<WatchSet> WatchSet::make(SystemCalls& calls, std::vector<std::unique_ptr<DeviceMonitor>> monitors)
{
    if (monitors.empty()) {
        return nullptr;
    }
    std::unique_ptr<WatchSet> set(new WatchSet(calls, std::move(monitors)));
    bool isWhole = set->_timer.isOpen() && set->_epoll.isOpen() && set->add(set->_timer.get(), nullptr);
    for (const auto& monitor : set->_monitors) {
        isWhole = isWhole && set->add(monitor->descriptor(), monitor.get());
    }
    // All or nothing: a set that lacks a monitor would miss events and never know.
    if (!isWhole) {
        // Closing what was opened may change errno, which the caller reports.
        const int error = errno;
        set.reset();
        errno = error;
    }
    return set;
}

bool WatchSet::add(int fd, DeviceMonitor* monitor)
{
    epoll_event interest{};
    interest.events = EPOLLIN;
    interest.data.ptr = monitor;
    return _calls.epollAdd(_epoll.get(), fd, interest) == 0;
}

bool WatchSet::followsRules() const
{
    return std::any_of(_monitors.begin(), _monitors.end(), [](const auto& monitor) { return monitor->followsRules(); });
}

std::vector<DeviceMonitor*> WatchSet::ready()
{
    if (_process.isInherited()) {
        return {};
    }
    std::array<epoll_event, kMostReady> events{};
    const int count = _calls.epollWait(_epoll.get(), events.data(), static_cast<int>(events.size()), 0);
    std::vector<DeviceMonitor*> monitors;
    for (int at = 0; at < count; ++at) {
        if (events[static_cast<std::size_t>(at)].data.ptr != nullptr) {
            monitors.push_back(static_cast<DeviceMonitor*>(events[static_cast<std::size_t>(at)].data.ptr));
            continue;
        }
        // Read, so that the timer is quiet until it is set again.
        std::uint64_t expirations = 0;
        _calls.read(_timer.get(), &expirations, sizeof expirations);
        _due.reset();
    }
    return monitors;
}

void WatchSet::setTimer(std::optional<Time> due)
{
    // Set anew after every visit, mostly to the same time: then nothing is done.
    if (due == _due || _process.isInherited()) {
        return;
    }
    itimerspec when{};
    if (due) {
        // All zero would switch the timer off.
        const auto rest = std::max(std::chrono::nanoseconds(*due - _calls.now()), std::chrono::nanoseconds(1));
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(rest);
        when.it_value.tv_sec = seconds.count();
        when.it_value.tv_nsec = (rest - seconds).count();
    }
    if (_calls.timerSet(_timer.get(), when) == 0) {
        _due = due;
    }
}

} // namespace qrx::platform
