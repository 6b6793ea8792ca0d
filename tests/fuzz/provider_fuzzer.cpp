// A machine on which everything may stand in sysfs, any message may come from the kernel, any call may fail and any
// report node may answer anything, while somebody observes, enumerates, opens and closes: what the registry is told
// stays in order, and no descriptor is left.

#include "Failure.h"
#include "FakeMonitor.h"
#include "FakeNetlink.h"
#include "FaultyCalls.h"
#include "HostileMachine.h"
#include "Text/Utf8.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <set>
#include <stdexcept>

namespace {

using namespace qrx::platform;

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        const std::size_t length = qrx::utf8Length(text);
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

/// The registry's side of the contract.
class CheckingSink final : public RegistrySink {
public:
    DeviceKey publish(DeviceFacts device) override
    {
        for (const auto& name : {device.vendorName, device.productName, device.serialNumber}) {
            require(!name || isUtf8(*name), "a device's names are UTF-8");
        }
        int last = -1;
        for (const InterfaceFacts& interface : device.interfaces) {
            require(interface.number > last, "interfaces come by ascending number, each once");
            require(!interface.name || isUtf8(*interface.name), "an interface's name is UTF-8");
            require(interface.reportDescriptor.size() <= 4096,
                    "a report descriptor is no longer than the kernel allows");
            last = interface.number;
            if (interface.hid != nullptr) {
                _ports.push_back(interface.hid);
            }
        }
        require(_places.insert(device.place).second, "a place has one device");
        _devices[++_last] = device.place;
        return _last;
    }

    void terminate(DeviceKey device) override
    {
        const auto found = _devices.find(device);
        require(found != _devices.end(), "a device ends once");
        _places.erase(found->second);
        _devices.erase(found);
    }

    /// Those of all devices that were ever there.
    const std::vector<std::shared_ptr<HIDPort>>& ports() const { return _ports; }

private:
    DeviceKey _last = 0;
    std::map<DeviceKey, std::string> _devices;
    std::set<std::string> _places;
    std::vector<std::shared_ptr<HIDPort>> _ports;
};

class Story {
public:
    explicit Story(FuzzedDataProvider& input) : _input(input), _machine(input), _calls(_machine)
    {
        LinuxPaths paths = _machine.paths();
        paths.calls = &_calls;
        if (input.ConsumeIntegralInRange(0, 3) == 0) {
            _netlink = std::make_unique<test::FakeNetlink>(_calls);
        } else {
            _events.followsRules = input.ConsumeBool();
            paths.monitors = _events.factory();
        }
        _provider = makeLinuxProvider(paths);
    }

    void run()
    {
        constexpr int kMostSteps = 64;
        // So that the machine knows what matters.
        _provider->refresh(_sink);
        for (int step = 0; step < kMostSteps && _input.remaining_bytes() > 0; ++step) {
            takeStep();
        }
        _calls.failNone();
        _provider->stopWatching();
        _provider.reset();
        _channel.reset();
        require(_calls.openDescriptors() == 0, "no descriptor is left");
    }

private:
    void takeStep()
    {
        switch (_input.ConsumeIntegralInRange(0, 13)) {
        case 0:
            return _provider->refresh(_sink);
        case 1:
            _provider->startWatching(_sink);
            return;
        case 2:
            return _provider->stopWatching();
        case 3:
            return _provider->handleEvents(_sink);
        case 4:
            return tell();
        case 5:
            return _netlink != nullptr ? send(_machine.anyText()) : _events.lose();
        case 6:
            return _calls.advance(std::chrono::milliseconds(_input.ConsumeIntegralInRange(0, 5000)));
        case 7:
            return _calls.failCall(_input.ConsumeIntegralInRange(1, 60),
                                   _input.PickValueInArray({EIO, EMFILE, ENOENT, EACCES, ENOMEM, EINTR, ENODEV}));
        case 8:
            return openAny();
        case 9:
            return useChannel();
        case 10:
            return _machine.restore();
        case 11:
            return _machine.renew();
        default:
            return _machine.change();
        }
    }

    void tell()
    {
        const std::string action =
            _input.PickValueInArray<const char*>({"add", "remove", "bind", "unbind", "change", ""});
        const std::string kind =
            _input.PickValueInArray<const char*>({"usb_device", "usb_interface", "hid", "hidraw", "usb", ""});
        const std::string path = _machine.eventPath();
        if (_netlink == nullptr) {
            _events.tell(action + " " + kind, path);
            return;
        }
        const std::string subsystem = kind.starts_with("usb") ? "usb" : kind;
        const std::string end(1, '\0');
        send(action + "@" + path + end + "ACTION=" + action + end + "DEVPATH=" + path + end + "SUBSYSTEM=" + subsystem +
             end + "DEVTYPE=" + kind + end + "SEQNUM=1" + end);
    }

    void send(const std::string& message)
    {
        try {
            // The kernel sends no empty message.
            _netlink->send(message.empty() ? "add" : message);
        } catch (const std::runtime_error&) {
            // The socket is full, or broke with messages in it: they are lost, as they are with the kernel's.
        }
    }

    void openAny()
    {
        if (!_sink.ports().empty()) {
            const auto index = _input.ConsumeIntegralInRange<std::size_t>(0, _sink.ports().size() - 1);
            _channel.reset();
            const Status status = _sink.ports()[index]->open(_channel);
            require((status == Status::success) == (_channel != nullptr), "a channel comes with success alone");
        }
    }

    void useChannel()
    {
        if (_channel == nullptr) {
            return;
        }
        std::span<const std::uint8_t> report;
        constexpr int kMostReports = 200;
        std::size_t sum = 0;
        for (int count = 0; count < kMostReports && _channel->takeReport(report) == HIDChannel::Next::report; ++count) {
            for (const std::uint8_t byte : report) {
                sum += byte;
            }
        }
        std::vector<std::uint8_t> bytes(_input.ConsumeIntegralInRange<std::size_t>(0, 70), 1);
        const auto type = _input.PickValueInArray({ReportType::input, ReportType::output, ReportType::feature});
        const auto id = _input.ConsumeIntegralInRange<std::uint32_t>(0, 300);
        _channel->setReport(type, id, bytes);
        std::size_t size = 0;
        if (_channel->getReport(type, id, bytes, size) == Status::success) {
            require(size <= bytes.size(), "an answer fits the buffer");
        }
        _lastSum = sum;
    }

    FuzzedDataProvider& _input;
    test::HostileMachine _machine;
    test::FaultyCalls _calls;
    test::EventSource _events;
    std::unique_ptr<test::FakeNetlink> _netlink;
    CheckingSink _sink;
    std::unique_ptr<Provider> _provider;
    std::unique_ptr<HIDChannel> _channel;
    /// Reading a report touches all of its bytes.
    volatile std::size_t _lastSum = 0;
};

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    ::setenv("QRX_LOG", "off", 1);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    Story(input).run();
    return 0;
}
