#pragma once

#include "Base/FileDescriptor.h"
#include "Base/ProcessMark.h"
#include "Base/SystemCalls.h"
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
    int descriptor() const { return _epoll.get(); }

    /// True if one of the monitors follows udevd's rules.
    bool followsRules() const;

    /// The monitors that have something now: one system call, and another if the timer has run out.
    std::vector<DeviceMonitor*> ready();

    /// Sets the time at which the descriptor becomes readable at the latest, or clears it.
    void setTimer(std::optional<Time> due);

private:
    WatchSet(SystemCalls& calls, std::vector<std::unique_ptr<DeviceMonitor>> monitors);
    bool add(int fd, DeviceMonitor* monitor);

    SystemCalls& _calls;
    std::vector<std::unique_ptr<DeviceMonitor>> _monitors;
    FileDescriptor _timer;
    FileDescriptor _epoll;
    std::optional<Time> _due;
    const ProcessMark _process;
};

} // namespace qrx::platform
