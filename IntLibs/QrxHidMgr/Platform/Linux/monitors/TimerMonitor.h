#pragma once

#include "Base/FileDescriptor.h"
#include "Base/SystemCalls.h"
#include "DeviceMonitor.h"

#include <chrono>
#include <memory>

namespace qrx::platform {

/// Asks for a look at everything when its time has come (timerfd): once for each start, or from time to time where no
/// event can be heard.
class TimerMonitor : public DeviceMonitor {
public:
    /// One that waits to be started. Null if there is no descriptor free.
    static std::unique_ptr<TimerMonitor> make(SystemCalls& calls);
    /// One that asks again and again. Null if there is no descriptor free.
    static std::unique_ptr<TimerMonitor> makeRepeating(SystemCalls& calls, std::chrono::milliseconds interval);

    /// Asks once after the delay; a time that was set before is forgotten.
    void start(std::chrono::milliseconds delay);

    int descriptor() const override { return _fd.get(); }
    Next take(DeviceEvent& event) override;

private:
    TimerMonitor(SystemCalls& calls, FileDescriptor fd) : _calls(calls), _fd(std::move(fd)) {}

    SystemCalls& _calls;
    FileDescriptor _fd;
};

} // namespace qrx::platform
