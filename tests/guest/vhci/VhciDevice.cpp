#include "vhci/VhciDevice.h"

#include "vhci/VhciPort.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <stdexcept>

namespace qrx::guest {

namespace {

constexpr std::uint8_t kGetStatus = 0x00;
constexpr std::uint8_t kGetDescriptor = 0x06;
constexpr std::uint8_t kGetConfiguration = 0x08;
constexpr std::uint8_t kGetInterface = 0x0A;
constexpr std::uint8_t kGetReport = 0x01;
constexpr std::uint8_t kGetIdle = 0x02;
constexpr std::uint8_t kGetProtocol = 0x03;
constexpr std::uint8_t kSetReport = 0x09;

constexpr std::uint8_t kTypeMask = 0x60;
constexpr std::uint8_t kClassType = 0x20;

std::uint8_t highByte(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value >> 8);
}

std::uint8_t lowByte(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value & 0xFF);
}

} // namespace

VhciDevice::VhciDevice(UsbIdentity identity, std::vector<UsbInterface> interfaces)
    : _description(std::move(identity), std::move(interfaces)), _states(_description.interfaceCount()),
      _wakeFd(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (_wakeFd < 0)
        throw std::runtime_error("no event descriptor");
}

VhciDevice::~VhciDevice()
{
    unplug();
    ::close(_wakeFd);
}

void VhciDevice::plug(std::optional<int> port)
{
    if (isPlugged())
        return;
    const int socket = VhciPort::attach(static_cast<int>(_description.identity().speed), port, _port);
    const std::lock_guard lock(_mutex);
    _socket = socket;
    _stopping = false;
    _thread = std::thread([this] { serve(); });
}

void VhciDevice::unplug()
{
    {
        const std::lock_guard lock(_mutex);
        if (_socket < 0)
            return;
        _stopping = true;
        ::shutdown(_socket, SHUT_RDWR);
    }
    wake();
    _thread.join();
    const std::lock_guard lock(_mutex);
    ::close(_socket);
    _socket = -1;
    _outgoing.clear();
    _silenced.clear();
    for (State& state : _states) {
        state.polls.clear();
        state.input.clear();
        state.flood = nullptr;
    }
    _changed.notify_all();
}

bool VhciDevice::isPlugged() const
{
    const std::lock_guard lock(_mutex);
    return _socket >= 0;
}

std::string VhciDevice::sysfsPath() const
{
    if (!isPlugged())
        return {};
    const std::string name = VhciPort::deviceName(_port);
    const std::string path = "/sys/bus/usb/devices/" + name;
    return name.empty() || name == "0-0" || ::access(path.c_str(), F_OK) != 0 ? std::string{} : path;
}

std::vector<std::string> VhciDevice::waitForNodes() const
{
    const auto& interfaces = _description.interfaces();
    const auto wanted = std::count_if(interfaces.begin(), interfaces.end(), [](const auto& one) { return one.isHid; });
    std::vector<std::string> nodes;
    const bool complete = waitUntil([&] {
        const std::string path = sysfsPath();
        nodes = path.empty() ? std::vector<std::string>{} : hidrawNodesOf(path);
        return nodes.size() == static_cast<std::size_t>(wanted);
    });
    return complete ? nodes : std::vector<std::string>{};
}

void VhciDevice::sendInput(std::size_t interface, Bytes bytes)
{
    {
        const std::lock_guard lock(_mutex);
        _states.at(interface).input.push_back(std::move(bytes));
    }
    wake();
}

bool VhciDevice::waitUntilTaken(std::size_t interface, std::chrono::milliseconds limit)
{
    std::unique_lock lock(_mutex);
    const State& state = _states.at(interface);
    return _changed.wait_for(
        lock, limit, [&] { return state.input.empty() && !state.flood && !state.polls.empty() && _outgoing.empty(); });
}

void VhciDevice::flood(std::size_t interface, std::function<std::optional<Bytes>(std::uint64_t)> make)
{
    {
        const std::lock_guard lock(_mutex);
        State& state = _states.at(interface);
        state.flood = std::move(make);
        state.flooded = 0;
    }
    wake();
}

std::vector<SentReport> VhciDevice::takeSentReports()
{
    const std::lock_guard lock(_mutex);
    return std::exchange(_sent, {});
}

std::vector<SentReport> VhciDevice::waitForSentReports(std::size_t count, std::chrono::milliseconds limit)
{
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, limit, [&] { return _sent.size() >= count; });
    return std::exchange(_sent, {});
}

void VhciDevice::setReport(std::size_t interface, UsbReportType type, std::uint8_t reportID, Bytes bytes)
{
    const std::lock_guard lock(_mutex);
    _states.at(interface).reports[{type, reportID}] = std::move(bytes);
}

void VhciDevice::setAnswer(std::size_t interface, Answer State::*member, Answer answer)
{
    const std::lock_guard lock(_mutex);
    _states.at(interface).*member = answer;
}

void VhciDevice::answerGetReport(std::size_t interface, Answer answer)
{
    setAnswer(interface, &State::getReport, answer);
}

void VhciDevice::answerSetReport(std::size_t interface, Answer answer)
{
    setAnswer(interface, &State::setReport, answer);
}

void VhciDevice::answerOutput(std::size_t interface, Answer answer)
{
    setAnswer(interface, &State::output, answer);
}

void VhciDevice::answerReportDescriptor(std::size_t interface, Answer answer)
{
    setAnswer(interface, &State::reportDescriptor, answer);
}

bool VhciDevice::waitUntilSilent(std::chrono::milliseconds limit)
{
    std::unique_lock lock(_mutex);
    return _changed.wait_for(lock, limit, [this] { return !_silenced.empty(); });
}

std::vector<SetupPacket> VhciDevice::takeControlRequests()
{
    const std::lock_guard lock(_mutex);
    return std::exchange(_controlRequests, {});
}

void VhciDevice::wake() const
{
    const std::uint64_t one = 1;
    // A counter that is full wakes as well.
    [[maybe_unused]] const ssize_t written = ::write(_wakeFd, &one, sizeof one);
}

void VhciDevice::serve()
{
    Bytes pending;
    std::array<pollfd, 2> entries{pollfd{_socket, POLLIN, 0}, pollfd{_wakeFd, POLLIN, 0}};
    for (;;) {
        ::poll(entries.data(), entries.size(), -1);
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t drained = ::read(_wakeFd, &count, sizeof count);
        const bool readable = (entries[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0;
        if (readable && !receive(pending))
            return;
        {
            const std::lock_guard lock(_mutex);
            if (_stopping)
                return;
            answerPolls();
        }
        transmit();
    }
}

/// Takes what the kernel sent and handles each whole message. Returns false at the end of the connection.
bool VhciDevice::receive(Bytes& pending)
{
    std::array<std::uint8_t, 65536> block;
    const ssize_t count = ::recv(_socket, block.data(), block.size(), MSG_DONTWAIT);
    if (count < 0)
        return errno == EAGAIN || errno == EINTR;
    if (count == 0)
        return false;
    pending.insert(pending.end(), block.begin(), block.begin() + count);
    std::size_t start = 0;
    while (pending.size() - start >= kUsbIpHeaderBytes) {
        UsbIpHeader header(pending.data() + start);
        const std::size_t end = start + kUsbIpHeaderBytes + header.dataBytes();
        if (end > pending.size())
            break;
        header.submit.data.assign(pending.begin() + static_cast<std::ptrdiff_t>(start + kUsbIpHeaderBytes),
                                  pending.begin() + static_cast<std::ptrdiff_t>(end));
        const std::lock_guard lock(_mutex);
        handle(header);
        start = end;
    }
    pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(start));
    return true;
}

void VhciDevice::handle(const UsbIpHeader& header)
{
    if (header.command == UsbIpCommand::submit)
        handleSubmit(header.submit);
    else if (header.command == UsbIpCommand::unlink)
        handleUnlink(header.submit.sequence, header.unlinkSequence);
}

void VhciDevice::handleUnlink(std::uint32_t sequence, std::uint32_t target)
{
    std::size_t removed = _silenced.erase(target);
    for (State& state : _states)
        removed += std::erase_if(state.polls, [&](const UsbSubmit& poll) { return poll.sequence == target; });
    const Bytes answer = unlinkAnswer(sequence, removed > 0 ? -ECONNRESET : 0);
    _outgoing.insert(_outgoing.end(), answer.begin(), answer.end());
}

void VhciDevice::handleSubmit(UsbSubmit submit)
{
    if (submit.endpoint == 0)
        handleControl(submit);
    else
        handleInterrupt(std::move(submit));
}

void VhciDevice::handleInterrupt(UsbSubmit submit)
{
    const std::size_t interface = submit.endpoint - 1;
    if (interface >= _states.size()) {
        finish(submit, -EPIPE);
        return;
    }
    State& state = _states[interface];
    if (submit.in) {
        state.polls.push_back(std::move(submit));
        _changed.notify_all();
        return;
    }
    if (state.output == Answer::normal) {
        _sent.push_back({interface, UsbReportType::output, 0, false, submit.data});
        _changed.notify_all();
    }
    finishAs(state.output, submit, {});
}

void VhciDevice::handleControl(const UsbSubmit& submit)
{
    _controlRequests.push_back(submit.setup);
    if ((submit.setup.requestType & kTypeMask) == kClassType)
        handleClass(submit);
    else if (submit.in)
        handleStandardIn(submit);
    else
        finish(submit, 0); // SET_CONFIGURATION, SET_INTERFACE, features: all fine
}

void VhciDevice::handleStandardIn(const UsbSubmit& submit)
{
    switch (submit.setup.request) {
    case kGetDescriptor:
        handleDescriptor(submit);
        break;
    case kGetStatus:
        finish(submit, 0, {0, 0});
        break;
    case kGetConfiguration:
        finish(submit, 0, {1});
        break;
    case kGetInterface:
        finish(submit, 0, {0});
        break;
    default:
        finish(submit, -EPIPE);
    }
}

void VhciDevice::handleDescriptor(const UsbSubmit& submit)
{
    const std::uint8_t index = lowByte(submit.setup.value);
    const std::size_t interface = lowByte(submit.setup.index);
    const bool isHid = interface < _states.size() && _description.interfaces()[interface].isHid;
    Bytes descriptor;
    switch (highByte(submit.setup.value)) {
    case 0x01:
        descriptor = _description.device();
        break;
    case 0x02:
        descriptor = _description.configuration();
        break;
    case 0x03:
        descriptor = _description.string(index);
        break;
    case 0x21:
        descriptor = isHid ? _description.hid(interface) : Bytes{};
        break;
    case 0x22:
        if (isHid) {
            finishAs(_states[interface].reportDescriptor, submit,
                     _description.interfaces()[interface].reportDescriptor);
            return;
        }
        break;
    default:
        break;
    }
    finish(submit, descriptor.empty() ? -EPIPE : 0, descriptor);
}

void VhciDevice::handleClass(const UsbSubmit& submit)
{
    const std::size_t interface = lowByte(submit.setup.index);
    if (interface >= _states.size()) {
        finish(submit, -EPIPE);
        return;
    }
    if (submit.in && submit.setup.request == kGetReport)
        handleGetReport(submit, _states[interface]);
    else if (!submit.in && submit.setup.request == kSetReport)
        handleSetReport(submit, interface);
    else if (submit.in && (submit.setup.request == kGetIdle || submit.setup.request == kGetProtocol))
        finish(submit, 0, {0});
    else
        finish(submit, submit.in ? -EPIPE : 0); // SET_IDLE, SET_PROTOCOL
}

void VhciDevice::handleGetReport(const UsbSubmit& submit, State& state)
{
    const ReportKey key{static_cast<UsbReportType>(highByte(submit.setup.value)), lowByte(submit.setup.value)};
    const auto found = state.reports.find(key);
    if (state.getReport == Answer::normal && found == state.reports.end())
        finish(submit, -EPIPE);
    else
        finishAs(state.getReport, submit, found == state.reports.end() ? Bytes{} : found->second);
}

void VhciDevice::handleSetReport(const UsbSubmit& submit, std::size_t interface)
{
    State& state = _states[interface];
    if (state.setReport == Answer::normal) {
        const auto type = static_cast<UsbReportType>(highByte(submit.setup.value));
        const std::uint8_t reportID = lowByte(submit.setup.value);
        state.reports[{type, reportID}] = submit.data;
        _sent.push_back({interface, type, reportID, true, submit.data});
        _changed.notify_all();
    }
    finishAs(state.setReport, submit, {});
}

void VhciDevice::answerPolls()
{
    for (State& state : _states) {
        while (!state.polls.empty()) {
            std::optional<Bytes> report = nextInput(state);
            if (!report)
                break;
            const UsbSubmit poll = std::move(state.polls.front());
            state.polls.pop_front();
            finish(poll, 0, *report);
        }
    }
    _changed.notify_all();
}

std::optional<Bytes> VhciDevice::nextInput(State& state)
{
    if (!state.input.empty()) {
        Bytes report = std::move(state.input.front());
        state.input.pop_front();
        return report;
    }
    if (!state.flood)
        return std::nullopt;
    std::optional<Bytes> report = state.flood(state.flooded++);
    if (!report)
        state.flood = nullptr;
    return report;
}

void VhciDevice::finish(const UsbSubmit& submit, std::int32_t status, const Bytes& data)
{
    const bool isPoll = submit.in && submit.endpoint != 0;
    Bytes answer;
    if (isPoll && data.size() > submit.length) {
        // The controller drops the whole connection on more than it asked for; a real device babbles.
        answer = submitAnswer(submit.sequence, -EOVERFLOW, 0, {});
    } else if (submit.in) {
        const Bytes part(data.begin(),
                         data.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(data.size(), submit.length)));
        answer = submitAnswer(submit.sequence, status, static_cast<std::uint32_t>(part.size()), part);
    } else {
        answer = submitAnswer(submit.sequence, status, status == 0 ? submit.length : 0, {});
    }
    _outgoing.insert(_outgoing.end(), answer.begin(), answer.end());
}

void VhciDevice::finishAs(Answer answer, const UsbSubmit& submit, const Bytes& data)
{
    switch (answer) {
    case Answer::normal:
        finish(submit, 0, data);
        break;
    case Answer::stall:
        finish(submit, -EPIPE);
        break;
    case Answer::silence:
        _silenced.insert(submit.sequence);
        _changed.notify_all();
        break;
    }
}

/// Sends the answers without holding the lock: the kernel may be slow to take them.
void VhciDevice::transmit()
{
    Bytes batch;
    {
        const std::lock_guard lock(_mutex);
        batch.swap(_outgoing);
        _changed.notify_all();
    }
    std::size_t sent = 0;
    while (sent < batch.size()) {
        const ssize_t count = ::send(_socket, batch.data() + sent, batch.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR)
            return; // the plug was pulled; the next receive sees it
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

} // namespace qrx::guest
