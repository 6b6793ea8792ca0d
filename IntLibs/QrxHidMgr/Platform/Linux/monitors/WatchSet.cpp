#include "WatchSet.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>

namespace qrx::platform {

namespace {

// There are at most four monitors (events, the device folder, its timer, the slow timer) and the timer of the set. What
// does not fit is found at the next look.
constexpr std::size_t kMostReady = 8;

/// The other members have the index of their monitor.
constexpr std::uint64_t kTimerToken = UINT64_MAX;

} // namespace

WatchSet::WatchSet(SystemCalls& calls, std::vector<std::unique_ptr<DeviceMonitor>> monitors)
    : _monitors(std::move(monitors)), _timer(calls), _set(calls)
{
}

std::unique_ptr<WatchSet> WatchSet::make(SystemCalls& calls, std::vector<std::unique_ptr<DeviceMonitor>> monitors)
{
    if (monitors.empty()) {
        return nullptr;
    }
    std::unique_ptr<WatchSet> set(new WatchSet(calls, std::move(monitors)));
    bool isWhole = set->_timer.isOpen() && set->_set.isOpen() && set->_set.add(set->_timer.descriptor(), kTimerToken);
    for (std::size_t index = 0; index < set->_monitors.size(); ++index) {
        isWhole = isWhole && set->_set.add(set->_monitors[index]->descriptor(), index);
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

bool WatchSet::followsRules() const
{
    return std::any_of(_monitors.begin(), _monitors.end(), [](const auto& monitor) { return monitor->followsRules(); });
}

std::vector<DeviceMonitor*> WatchSet::ready()
{
    if (_set.isInherited()) {
        return {};
    }
    std::array<epoll_event, kMostReady> events{};
    const int count = _set.findReady(events);
    std::vector<DeviceMonitor*> monitors;
    for (int at = 0; at < count; ++at) {
        const std::uint64_t token = events[static_cast<std::size_t>(at)].data.u64;
        if (token != kTimerToken) {
            monitors.push_back(_monitors[token].get());
            continue;
        }
        // Taken, so that the timer is quiet until it is set again.
        _timer.take();
        _due.reset();
    }
    return monitors;
}

void WatchSet::setTimer(std::optional<Time> due)
{
    // Set anew after every visit, mostly to the same time: then nothing is done.
    if (due == _due) {
        return;
    }
    if (due ? _timer.setDue(*due) : _timer.clear()) {
        _due = due;
    }
}

} // namespace qrx::platform
