#include "FakeMonitor.h"

#include <stdexcept>

#include <sys/eventfd.h>
#include <unistd.h>

namespace qrx::platform::test {

namespace {

class FakeMonitor : public DeviceMonitor {
public:
    explicit FakeMonitor(EventSource& source) : _source(source) {}

    int descriptor() const override { return _source.descriptor(); }
    Next take(DeviceEvent& event) override { return _source.take(event); }
    bool followsRules() const override { return _source.followsRules; }

private:
    EventSource& _source;
};

} // namespace

EventSource::EventSource() : _fd(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC | EFD_SEMAPHORE)) {}

EventSource::~EventSource()
{
    ::close(_fd);
}

void EventSource::push(Waiting waiting)
{
    _waiting.push_back(std::move(waiting));
    const eventfd_t one = 1;
    if (::eventfd_write(_fd, one) != 0) {
        throw std::runtime_error("eventfd_write");
    }
}

void EventSource::tell(const std::string& what, const std::string& path)
{
    DeviceEvent event;
    const std::size_t blank = what.find(' ');
    event.action = what.substr(0, blank);
    const std::string kind = what.substr(blank + 1);
    const bool isUsb = kind.starts_with("usb");
    event.subsystem = isUsb ? "usb" : kind;
    event.type = isUsb ? kind : "";
    event.path = path;
    push({DeviceMonitor::Next::event, event});
}

void EventSource::lose()
{
    push({DeviceMonitor::Next::rescan, {}});
}

DeviceMonitor::Next EventSource::take(DeviceEvent& event)
{
    if (_waiting.empty()) {
        return DeviceMonitor::Next::none;
    }
    eventfd_t one = 0;
    ::eventfd_read(_fd, &one);
    const Waiting first = std::move(_waiting.front());
    _waiting.pop_front();
    event = first.event;
    return first.next;
}

MonitorFactory EventSource::factory()
{
    return [this](const LinuxPaths&) {
        std::vector<std::unique_ptr<DeviceMonitor>> monitors;
        monitors.push_back(std::make_unique<FakeMonitor>(*this));
        return monitors;
    };
}

} // namespace qrx::platform::test
