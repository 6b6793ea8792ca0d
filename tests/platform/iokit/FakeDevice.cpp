#include "FakeDevice.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <sys/eventfd.h>
#include <unistd.h>

using qrx::platform::HIDChannel;
using qrx::platform::ReportType;
using qrx::platform::Status;

namespace fake {

namespace {

std::atomic<int> sm_OpenChannels{0};
Provider* sm_Provider = nullptr;

void raise(int fd)
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const auto written = ::write(fd, &one, sizeof one);
}

void lower(int fd)
{
    std::uint64_t count = 0;
    [[maybe_unused]] const auto taken = ::read(fd, &count, sizeof count);
}

std::string hex(std::span<const std::uint8_t> bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        constexpr char kDigits[] = "0123456789abcdef";
        text += ' ';
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

std::string nameOf(ReportType type, std::uint32_t id)
{
    return std::to_string(static_cast<int>(type)) + " id " + std::to_string(id);
}

} // namespace

void CallLog::add(const std::string& line)
{
    const std::lock_guard guard(_mutex);
    _text += line + "\n";
}

std::string CallLog::take()
{
    const std::lock_guard guard(_mutex);
    return std::exchange(_text, {});
}

CallLog& callLog()
{
    static CallLog log;
    return log;
}

void Faults::failCall(int number, bool byException)
{
    _seen = 0;
    _due = number;
    _byException = byException;
}

bool Faults::isDue(const std::string& call)
{
    if (++_seen != _due) {
        return false;
    }
    if (_byException) {
        throw std::runtime_error("failed: " + call);
    }
    return true;
}

Faults& faults()
{
    static Faults faults;
    return faults;
}

int openChannels()
{
    return sm_OpenChannels;
}

class Wire::Channel final : public HIDChannel {
public:
    explicit Channel(std::shared_ptr<Wire> wire)
        : _wire(std::move(wire)), _event(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC))
    {
        ++sm_OpenChannels;
        const std::lock_guard guard(_wire->_mutex);
        _wire->_channels.push_back(this);
        if (_wire->_isEnded) {
            raise(_event);
        }
    }
    ~Channel() override
    {
        {
            const std::lock_guard guard(_wire->_mutex);
            std::erase(_wire->_channels, this);
        }
        ::close(_event);
        --sm_OpenChannels;
        callLog().add("close");
    }

    int descriptor() const override { return _event; }

    Next takeReport(std::span<const std::uint8_t>& report) override
    {
        if (faults().isDue("takeReport")) {
            return Next::empty;
        }
        if (_wire->onTakeReport) {
            _wire->onTakeReport();
        }
        const std::lock_guard guard(_wire->_mutex);
        if (_fetched.empty() && _wire->fetchesInBatches) {
            std::swap(_fetched, _waiting);
        } else if (_fetched.empty() && !_waiting.empty()) {
            _fetched.push_back(std::move(_waiting.front()));
            _waiting.pop_front();
        }
        if (_waiting.empty() && !_wire->_isEnded) {
            lower(_event);
        }
        setDescriptorNext(_wire->trustsItsDescriptor && _fetched.size() == 1);
        if (_fetched.empty()) {
            return _wire->_isEnded ? Next::gone : Next::empty;
        }
        _current = std::move(_fetched.front());
        _fetched.pop_front();
        report = _current;
        return Next::report;
    }

    bool hasFetchedReports() const override { return !_fetched.empty(); }

    Status setReport(ReportType type, std::uint32_t reportID, std::span<const std::uint8_t> bytes) override
    {
        callLog().add("setReport " + nameOf(type, reportID) + ":" + hex(bytes));
        if (faults().isDue("setReport")) {
            return Status::ioError;
        }
        {
            const std::lock_guard guard(_wire->_mutex);
            if (_wire->_isEnded) {
                return Status::notAttached;
            }
            _wire->_sent.emplace_back(bytes.begin(), bytes.end());
        }
        return _wire->onSetReport ? _wire->onSetReport() : _wire->requestResult;
    }

    Status getReport(ReportType type, std::uint32_t reportID, std::span<std::uint8_t> buffer,
                     std::size_t& size) override
    {
        callLog().add("getReport " + nameOf(type, reportID) + " room " + std::to_string(buffer.size()));
        if (faults().isDue("getReport")) {
            return Status::ioError;
        }
        if (_wire->requestResult != Status::success) {
            return _wire->requestResult;
        }
        // The device may be closed in the call, and this channel with it.
        const std::shared_ptr<Wire> wire = _wire;
        if (wire->onGetReport) {
            wire->onGetReport();
        }
        size = std::min(buffer.size(), wire->answer.size());
        std::copy_n(wire->answer.begin(), size, buffer.begin());
        size = wire->claimedSize.value_or(size);
        return Status::success;
    }

private:
    friend class Wire;

    const std::shared_ptr<Wire> _wire;
    const int _event;
    std::deque<Bytes> _waiting;
    std::deque<Bytes> _fetched;
    Bytes _current;
};

class Port final : public qrx::platform::HIDPort {
public:
    explicit Port(std::shared_ptr<Wire> wire) : _wire(std::move(wire)) {}

    Status open(std::unique_ptr<HIDChannel>& channel) override
    {
        callLog().add("open");
        if (faults().isDue("open")) {
            return Status::ioError;
        }
        {
            const std::lock_guard guard(_wire->_mutex);
            if (_wire->_isEnded) {
                return Status::notAttached;
            }
        }
        if (_wire->openResult == Status::success) {
            channel = std::make_unique<Wire::Channel>(_wire);
        }
        return _wire->openResult;
    }

private:
    const std::shared_ptr<Wire> _wire;
};

void Wire::send(const Bytes& report)
{
    const std::lock_guard guard(_mutex);
    for (Channel* channel : _channels) {
        channel->_waiting.push_back(report);
        raise(channel->_event);
    }
}

void Wire::end()
{
    const std::lock_guard guard(_mutex);
    _isEnded = true;
    for (Channel* channel : _channels) {
        raise(channel->_event);
    }
}

std::vector<Bytes> Wire::sentReports()
{
    const std::lock_guard guard(_mutex);
    return std::exchange(_sent, {});
}

Device& Device::addHid(const Bytes& descriptor)
{
    auto wire = std::make_shared<Wire>();
    qrx::platform::InterfaceFacts interface;
    interface.number = static_cast<std::uint8_t>(facts.interfaces.size());
    interface.interfaceClass = 3;
    interface.endpointCount = 1;
    interface.hid = std::make_shared<Port>(wire);
    interface.reportDescriptor = descriptor;
    facts.interfaces.push_back(std::move(interface));
    wires.push_back(std::move(wire));
    return *this;
}

Device& Device::addPlain()
{
    qrx::platform::InterfaceFacts interface;
    interface.number = static_cast<std::uint8_t>(facts.interfaces.size());
    interface.interfaceClass = 8;
    facts.interfaces.push_back(std::move(interface));
    wires.push_back(nullptr);
    return *this;
}

void Device::plug()
{
    key = qrx::platform::registry().publish(facts);
}

void Device::unplug()
{
    for (const auto& wire : wires) {
        if (wire) {
            wire->end();
        }
    }
    qrx::platform::registry().terminate(std::exchange(key, 0));
}

Device makeDevice(std::uint16_t vendorID, std::uint16_t productID)
{
    Device device;
    device.facts.vendorID = vendorID;
    device.facts.productID = productID;
    device.facts.releaseNumber = 0x0110;
    device.facts.maxPacketSize0 = 8;
    device.facts.place = "1-2";
    device.facts.locationID = 0x01200000;
    device.facts.portNumber = 2;
    device.facts.address = 5;
    device.facts.speed = 1;
    return device;
}

Bytes mouseDescriptor()
{
    return {
        0x05, 0x01, // Usage Page (Generic Desktop)
        0x09, 0x02, // Usage (Mouse)
        0xA1, 0x01, // Collection (Application)
        0x09, 0x01, //   Usage (Pointer)
        0xA1, 0x00, //   Collection (Physical)
        0x05, 0x09, //     Usage Page (Button)
        0x19, 0x01, //     Usage Minimum (1)
        0x29, 0x03, //     Usage Maximum (3)
        0x15, 0x00, //     Logical Minimum (0)
        0x25, 0x01, //     Logical Maximum (1)
        0x95, 0x03, //     Report Count (3)
        0x75, 0x01, //     Report Size (1)
        0x81, 0x02, //     Input (Data, Variable, Absolute)
        0x95, 0x01, //     Report Count (1)
        0x75, 0x05, //     Report Size (5)
        0x81, 0x01, //     Input (Constant)
        0x05, 0x01, //     Usage Page (Generic Desktop)
        0x09, 0x30, //     Usage (X)
        0x09, 0x31, //     Usage (Y)
        0x09, 0x38, //     Usage (Wheel)
        0x15, 0x81, //     Logical Minimum (-127)
        0x25, 0x7F, //     Logical Maximum (127)
        0x75, 0x08, //     Report Size (8)
        0x95, 0x03, //     Report Count (3)
        0x81, 0x06, //     Input (Data, Variable, Relative)
        0xC0,       //   End Collection
        0xC0        // End Collection
    };
}

Device makeMouse()
{
    Device device = makeDevice(0x046d, 0xc077);
    device.facts.vendorName = "Maker";
    device.facts.productName = "Mouse";
    return device.addHid(mouseDescriptor());
}

Device makeKeyboard()
{
    return makeDevice(0x04d9, 0x1503)
        .addHid({
            0x05, 0x01, // Usage Page (Generic Desktop)
            0x09, 0x06, // Usage (Keyboard)
            0xA1, 0x01, // Collection (Application)
            0x05, 0x07, //   Usage Page (Keyboard)
            0x19, 0xE0, //   Usage Minimum (224)
            0x29, 0xE7, //   Usage Maximum (231)
            0x15, 0x00, //   Logical Minimum (0)
            0x25, 0x01, //   Logical Maximum (1)
            0x75, 0x01, //   Report Size (1)
            0x95, 0x08, //   Report Count (8)
            0x81, 0x02, //   Input (Data, Variable, Absolute)
            0x95, 0x01, //   Report Count (1)
            0x75, 0x08, //   Report Size (8)
            0x81, 0x01, //   Input (Constant)
            0x95, 0x05, //   Report Count (5)
            0x75, 0x01, //   Report Size (1)
            0x05, 0x08, //   Usage Page (LED)
            0x19, 0x01, //   Usage Minimum (1)
            0x29, 0x05, //   Usage Maximum (5)
            0x91, 0x02, //   Output (Data, Variable, Absolute)
            0x95, 0x01, //   Report Count (1)
            0x75, 0x03, //   Report Size (3)
            0x91, 0x01, //   Output (Constant)
            0x95, 0x06, //   Report Count (6)
            0x75, 0x08, //   Report Size (8)
            0x15, 0x00, //   Logical Minimum (0)
            0x25, 0x65, //   Logical Maximum (101)
            0x05, 0x07, //   Usage Page (Keyboard)
            0x19, 0x00, //   Usage Minimum (0)
            0x29, 0x65, //   Usage Maximum (101)
            0x81, 0x00, //   Input (Data, Array, Absolute)
            0xC0        // End Collection
        });
}

Device makeVendorDevice()
{
    return makeDevice(0x1209, 0x0001)
        .addHid({
            0x06, 0x00, 0xFF, // Usage Page (Vendor)
            0x09, 0x01,       // Usage (1)
            0xA1, 0x01,       // Collection (Application)
            0x85, 0x01,       //   Report ID (1)
            0x09, 0x02,       //   Usage (2)
            0x15, 0x00,       //   Logical Minimum (0)
            0x26, 0xFF, 0x00, //   Logical Maximum (255)
            0x75, 0x08,       //   Report Size (8)
            0x95, 0x3F,       //   Report Count (63)
            0x81, 0x02,       //   Input (Data, Variable, Absolute)
            0x85, 0x02,       //   Report ID (2)
            0x09, 0x03,       //   Usage (3)
            0x95, 0x07,       //   Report Count (7)
            0x91, 0x02,       //   Output (Data, Variable, Absolute)
            0x85, 0x03,       //   Report ID (3)
            0x09, 0x04,       //   Usage (4)
            0x95, 0x03,       //   Report Count (3)
            0xB1, 0x02,       //   Feature (Data, Variable, Absolute)
            0xC0              // End Collection
        });
}

Provider::Provider()
{
    sm_Provider = this;
}

Provider::~Provider()
{
    sm_Provider = nullptr;
}

void Provider::runActions()
{
    std::vector<std::function<void()>> actions;
    {
        const std::lock_guard guard(_mutex);
        actions.swap(_actions);
        if (_event >= 0) {
            lower(_event);
        }
    }
    for (const auto& action : actions) {
        action();
    }
}

void Provider::refresh(qrx::platform::RegistrySink&)
{
    callLog().add("refresh");
    if (!faults().isDue("refresh")) {
        runActions();
    }
}

int Provider::startWatching(qrx::platform::RegistrySink&)
{
    callLog().add("startWatching");
    if (faults().isDue("startWatching") || !canWatch) {
        return -1;
    }
    const std::lock_guard guard(_mutex);
    _isWatching = true;
    _event = ::eventfd(_actions.empty() ? 0 : 1, EFD_NONBLOCK | EFD_CLOEXEC);
    return _event;
}

void Provider::handleEvents(qrx::platform::RegistrySink&)
{
    callLog().add("handleEvents");
    if (!faults().isDue("handleEvents")) {
        runActions();
    }
}

void Provider::stopWatching()
{
    callLog().add("stopWatching");
    const std::lock_guard guard(_mutex);
    _isWatching = false;
    if (_event >= 0) {
        ::close(std::exchange(_event, -1));
    }
}

void Provider::queue(std::function<void()> action)
{
    const std::lock_guard guard(_mutex);
    _actions.push_back(std::move(action));
    if (_event >= 0) {
        raise(_event);
    }
}

Provider& provider()
{
    return *sm_Provider;
}

} // namespace fake

namespace {

/// Watches what never happens. It stands before the provider of the tests, so that none is the only one.
class SilentProvider final : public qrx::platform::Provider {
public:
    void refresh(qrx::platform::RegistrySink&) override {}
    int startWatching(qrx::platform::RegistrySink&) override
    {
        return fake::provider().canWatch ? _event = ::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC) : -1;
    }
    void handleEvents(qrx::platform::RegistrySink&) override { fake::callLog().add("SilentProvider::handleEvents"); }
    void stopWatching() override
    {
        if (_event >= 0) {
            ::close(std::exchange(_event, -1));
        }
    }

private:
    int _event = -1;
};

} // namespace

namespace qrx::platform {

std::vector<std::unique_ptr<Provider>> makeProviders()
{
    std::vector<std::unique_ptr<Provider>> providers;
    providers.push_back(std::make_unique<SilentProvider>());
    providers.push_back(std::make_unique<fake::Provider>());
    return providers;
}

} // namespace qrx::platform
