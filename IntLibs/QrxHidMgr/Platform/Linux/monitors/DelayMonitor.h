#pragma once

#include "Base/SystemCalls.h"
#include "DeviceMonitor.h"

#include <chrono>
#include <memory>

namespace qrx::platform {

/// Asks for a look at everything when its time is over, once for each start (timerfd).
class DelayMonitor : public DeviceMonitor {
public:
    /// Null if there is no descriptor free.
    static std::unique_ptr<DelayMonitor> make(SystemCalls& calls, std::chrono::milliseconds delay);

    /// From the beginning, if it is running already.
    void start();
    int descriptor() const override { return _fd.get(); }
    Next take(DeviceEvent& event) override;

private:
    DelayMonitor(SystemCalls& calls, OwnedFd fd, std::chrono::milliseconds delay)
        : _calls(calls), _fd(std::move(fd)), _delay(delay)
    {
    }

    SystemCalls& _calls;
    OwnedFd _fd;
    const std::chrono::milliseconds _delay;
};

} // namespace qrx::platform
