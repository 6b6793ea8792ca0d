#pragma once

#include "Base/MonotonicTimer.h"
#include "DeviceMonitor.h"

#include <chrono>
#include <memory>
#include <optional>

namespace qrx::platform {

/// Asks for a look at everything when its time has come (timerfd): once for each start, or from time to time where no
/// event can be heard.
class TimerMonitor : public DeviceMonitor {
public:
    /// One that waits to be started. Null with errno if there is no descriptor free.
    static std::unique_ptr<TimerMonitor> make(SystemCalls& calls);
    /// One that asks again and again. Null with errno if there is no descriptor free.
    static std::unique_ptr<TimerMonitor> makeRepeating(SystemCalls& calls, std::chrono::milliseconds interval);

    /// Asks once after the delay. Starting it again moves the time, so that a series of changes is followed by one
    /// rescan. A series that goes on puts it off by no more than a few delays: there are rescans during it, and one
    /// after its last change.
    void start(std::chrono::milliseconds delay);

    int descriptor() const override { return _timer.descriptor(); }
    Next take(DeviceEvent& event) override;

private:
    using Time = MonotonicTimer::Time;

    explicit TimerMonitor(SystemCalls& calls) : _timer(calls) {}

    MonotonicTimer _timer;
    /// When the delay after the last start is over; empty if no start waits for its rescan.
    std::optional<Time> _wanted;
    /// The time beyond which starts do not move the rescan.
    Time _latest;
};

} // namespace qrx::platform
