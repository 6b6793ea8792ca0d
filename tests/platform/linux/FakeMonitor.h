#pragma once

#include "Linux/LinuxProvider.h"

#include <deque>
#include <memory>
#include <string>

namespace qrx::platform::test {

/// What a test and the monitors that its provider has made share: the test says what happens, the monitor hands it out.
class EventSource {
public:
    EventSource();
    ~EventSource();
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;

    /// "add usb_device", "bind hid", "remove hidraw"
    void tell(const std::string& what, const std::string& path);
    /// The kernel's ENOBUFS: what waits can still be taken, the rest is lost.
    void lose();

    DeviceMonitor::Next take(DeviceEvent& event);
    int descriptor() const { return _fd; }
    MonitorFactory factory();

    /// The events are udevd's.
    bool followsRules = false;

private:
    struct Waiting {
        DeviceMonitor::Next next;
        DeviceEvent event;
    };
    void push(Waiting waiting);

    std::deque<Waiting> _waiting;
    int _fd;
};

} // namespace qrx::platform::test
