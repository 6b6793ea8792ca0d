#pragma once

#include "Base/SystemCalls.h"
#include "DeviceMonitor.h"

#include <chrono>
#include <memory>

namespace qrx::platform {

/// Asks for a look at everything from time to time, for where no event can be heard (timerfd).
class IntervalMonitor : public DeviceMonitor {
public:
    /// Null if there is no descriptor free.
    static std::unique_ptr<IntervalMonitor> make(SystemCalls& calls, std::chrono::milliseconds interval);

    int descriptor() const override { return _fd.get(); }
    Next take(DeviceEvent& event) override;

private:
    IntervalMonitor(SystemCalls& calls, OwnedFd fd) : _calls(calls), _fd(std::move(fd)) {}

    SystemCalls& _calls;
    OwnedFd _fd;
};

} // namespace qrx::platform
