#pragma once

#include "Base/EpollSet.h"
#include "Base/MonotonicTimer.h"
#include "DeviceMonitor.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace qrx::platform {

/// Several monitors and a timer behind one descriptor (epoll). In a child that fork made they have nothing to say.
class WatchSet {
public:
    using Time = std::chrono::steady_clock::time_point;

    /// Null with errno if there is no monitor or no descriptor free.
    static std::unique_ptr<WatchSet> make(SystemCalls& calls, std::vector<std::unique_ptr<DeviceMonitor>> monitors);

    /// Readable while a monitor has something or the timer has run out.
    int descriptor() const { return _set.descriptor(); }

    /// True if one of the monitors follows udevd's rules.
    bool followsRules() const;

    /// The monitors that have something now: one system call, and another if the timer has run out.
    std::vector<DeviceMonitor*> ready();

    /// Sets the time at which the descriptor becomes readable at the latest, or clears it.
    void setTimer(std::optional<Time> due);

private:
    WatchSet(SystemCalls& calls, std::vector<std::unique_ptr<DeviceMonitor>> monitors);

    std::vector<std::unique_ptr<DeviceMonitor>> _monitors;
    MonotonicTimer _timer;
    EpollSet _set;
    std::optional<Time> _due;
};

} // namespace qrx::platform
