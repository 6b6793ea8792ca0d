#pragma once

#include "Base/MonotonicTimer.h"
#include "DeviceMonitor.h"

#include <chrono>
#include <memory>

namespace qrx::platform {

/// Asks for a look at everything when its time has come (timerfd): once for each start, or from time to time where no
/// event can be heard.
class TimerMonitor : public DeviceMonitor {
public:
    /// One that waits to be started. Null with errno if there is no descriptor free.
    static std::unique_ptr<TimerMonitor> make(SystemCalls& calls);
    /// One that asks again and again. Null with errno if there is no descriptor free.
    static std::unique_ptr<TimerMonitor> makeRepeating(SystemCalls& calls, std::chrono::milliseconds interval);

    /// Asks once after the delay; a time that was set before is forgotten.
    void start(std::chrono::milliseconds delay);

    int descriptor() const override { return _timer.descriptor(); }
    Next take(DeviceEvent& event) override;

private:
    explicit TimerMonitor(SystemCalls& calls) : _timer(calls) {}

    MonotonicTimer _timer;
};

} // namespace qrx::platform
