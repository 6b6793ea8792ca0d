// The provider of the kernel's devices: monitors say that something may have changed, the scan reads what there is, and
// the book of devices compares it with what was published and decides. Events are hints and never facts: an event names
// a device, and the device is then looked up in sysfs. So lost, doubled or reordered events do no harm beyond a look
// too many.

#include "LinuxProvider.h"

#include "Base/Log.h"
#include "Base/SystemCalls.h"
#include "Linux/monitors/WatchSet.h"
#include "Linux/policy/DeviceBook.h"
#include "Linux/sysfs/NodeReadiness.h"
#include "Linux/sysfs/UsbNames.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace qrx::platform {

namespace {

/// Events taken from one monitor before others and the caller get their turn; the descriptor stays readable. Plugging
/// in a device brings about a dozen, so this bounds only a flood.
constexpr int kMostEvents = 4096;

/// Whether the event may have changed what a device consists of.
bool concernsDevice(const DeviceEvent& event)
{
    constexpr std::array<std::string_view, 4> kActions = {"add", "remove", "bind", "unbind"};
    constexpr std::array<std::string_view, 3> kSubsystems = {"usb", "hid", "hidraw"};
    return std::find(kActions.begin(), kActions.end(), event.action) != kActions.end() &&
           std::find(kSubsystems.begin(), kSubsystems.end(), event.subsystem) != kSubsystems.end();
}

/// A failure that may last: told once, and once that it is over.
class LastingFailure {
public:
    LastingFailure(std::string_view failing, std::string_view over) : _failing(failing), _over(over) {}

    /// `error` is why, as errno; 0 if that is not known.
    void tell(bool fails, int error)
    {
        if (fails && !_isTold) {
            const std::string reason = error != 0 ? std::generic_category().message(error) : std::string();
            log(LogLevel::error, joined({_failing, error != 0 ? ": " : "", reason, "."}));
        } else if (!fails && _isTold) {
            log(LogLevel::error, _over);
        }
        _isTold = fails;
    }

private:
    const std::string_view _failing;
    const std::string_view _over;
    bool _isTold = false;
};

class LinuxProvider : public Provider {
public:
    explicit LinuxProvider(LinuxPaths paths)
        : _paths(std::move(paths)), _calls(_paths.calls != nullptr ? *_paths.calls : SystemCalls::kernel()),
          _nodes(_calls, _paths.device, _paths.run, _paths.times.nodeAge),
          _book(_calls, DeviceScan(_calls, _paths.sysfs, _paths.device, _nodes), _paths.times)
    {
    }

    void refresh(RegistrySink& sink) override
    {
        keepBook([&] {
            if (_watch == nullptr || _book.owesRescan()) {
                rescan(sink);
            }
            handleEventsNow(sink);
        });
    }

    int startWatching(RegistrySink& sink) override
    {
        if (_watch != nullptr) {
            return _watch->descriptor();
        }
        int error = 0;
        try {
            error = beginWatching(sink);
        } catch (...) {
            stopWatching();
            throw;
        }
        if (_watch == nullptr) {
            errno = error;
            return -1;
        }
        return _watch->descriptor();
    }

    void handleEvents(RegistrySink& sink) override
    {
        keepBook([&] { handleEventsNow(sink); });
    }
    void stopWatching() override
    {
        _watch.reset();
        _book.setWaiting(false);
        _nodes.forgetAll();
    }

private:
    /// Returns why nothing can be watched, as errno; without meaning once `_watch` is set.
    int beginWatching(RegistrySink& sink)
    {
        errno = 0;
        // The monitors start first: what happens during the first scan is an event, and the look finds nothing new.
        _watch = WatchSet::make(_calls, _paths.monitors ? _paths.monitors(_paths) : makeMonitors(_paths));
        const int error = errno;
        _watching.tell(_watch == nullptr, error);
        _book.setWaiting(_watch != nullptr);
        rescan(sink);
        if (_watch != nullptr) {
            _watch->setTimer(_book.nextExpiry());
        }
        return error;
    }

    /// After an exception, events may have been taken whose devices were not looked at. So everything is looked at
    /// again, at the next call or when the retry time has passed.
    template <typename Look>
    void keepBook(const Look& look)
    {
        try {
            look();
        } catch (...) {
            _book.oweRescan();
            if (_watch != nullptr) {
                _watch->setTimer(_book.nextExpiry());
            }
            throw;
        }
    }

    void handleEventsNow(RegistrySink& sink)
    {
        if (_watch == nullptr) {
            return;
        }
        hear(_watch->ready(), sink);
        if (_book.isRescanDue()) {
            rescan(sink);
        }
        _book.expire(sink);
        _watch->setTimer(_book.nextExpiry());
    }

    /// First takes all waiting events, then looks at each device once: plugging brings a dozen events, and only the
    /// state after the last one can be read.
    void hear(const std::vector<DeviceMonitor*>& monitors, RegistrySink& sink)
    {
        std::vector<std::string> devices;
        bool mustRescan = false;
        for (DeviceMonitor* monitor : monitors) {
            mustRescan = takeEvents(*monitor, devices) || mustRescan;
        }
        if (mustRescan) {
            rescan(sink);
            return;
        }
        for (const std::string& device : devices) {
            _book.look(device, sink);
        }
    }

    /// No further event will come for devices that are present already, so udevd's database is asked whether their
    /// rules have run.
    void rescan(RegistrySink& sink)
    {
        using Rules = NodeReadiness::Rules;
        const bool followsRules = _watch != nullptr && _watch->followsRules();
        _nodes.setRules(_watch == nullptr || followsRules ? Rules::database : Rules::none);
        const int error = _book.rescan(sink);
        _listing.tell(error != 0, error);
        if (followsRules) {
            _nodes.setRules(Rules::events);
        }
    }

    void hearNode(const DeviceEvent& event)
    {
        if (event.action == "remove") {
            _nodes.forget(event.path);
        } else if (event.action == "add") {
            _nodes.tell(event.path);
        }
    }

    /// True if everything must be looked at.
    bool takeEvents(DeviceMonitor& monitor, std::vector<std::string>& devices)
    {
        bool mustRescan = false;
        DeviceEvent event;
        DeviceMonitor::Next last = DeviceMonitor::Next::none;
        for (int count = 0; count < kMostEvents; ++count) {
            const DeviceMonitor::Next next = monitor.take(event);
            if (next == DeviceMonitor::Next::none || (next == DeviceMonitor::Next::rescan && next == last)) {
                break; // asking again would not help a monitor that fails each time
            }
            last = next;
            if (next == DeviceMonitor::Next::rescan) {
                mustRescan = true;
                continue;
            }
            const std::string device(usbDeviceOf(event.path));
            if (device.empty() || !concernsDevice(event)) {
                continue;
            }
            if (event.subsystem == "hidraw") {
                hearNode(event);
            }
            // A new device may stand in the same place already. The wait that goes on was for the one that has left.
            if (event.type == "usb_device" && event.action == "remove") {
                _book.restart(device);
            }
            if (std::find(devices.begin(), devices.end(), device) == devices.end()) {
                devices.push_back(device);
            }
        }
        return mustRescan;
    }

    const LinuxPaths _paths;
    SystemCalls& _calls;
    NodeReadiness _nodes;
    DeviceBook _book;
    std::unique_ptr<WatchSet> _watch;
    LastingFailure _watching{"Arrivals and removals of devices cannot be watched",
                             "Arrivals and removals of devices are watched again."};
    LastingFailure _listing{"The USB devices of this machine cannot be listed",
                            "The USB devices of this machine are listed again."};
};

} // namespace

std::unique_ptr<Provider> makeLinuxProvider(LinuxPaths paths)
{
    return std::make_unique<LinuxProvider>(std::move(paths));
}

} // namespace qrx::platform
