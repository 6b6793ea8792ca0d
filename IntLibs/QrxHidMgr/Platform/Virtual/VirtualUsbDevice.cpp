#include "VirtualUsbDevice.h"

#include "Base/Log.h"
#include "ReportQueue.h"
#include "VirtualChannel.h"

#include <algorithm>
#include <atomic>
#include <string>

namespace qrx::platform {

namespace {

/// The virtual bus, above any number that a machine gives its own.
constexpr std::uint32_t kVirtualBus = 0xFE;

/// A location of its own for each plugging: the ports of the virtual bus are filled one after the other.
std::uint32_t nextLocation()
{
    static std::atomic<std::uint32_t> sm_Count{0};
    return kVirtualBus << 24 | (++sm_Count & 0x00FFFFFF);
}

template <typename Handler>
std::shared_ptr<const Handler> shared(Handler handler)
{
    return handler ? std::make_shared<const Handler>(std::move(handler)) : nullptr;
}

} // namespace

VirtualUsbDevice::VirtualUsbDevice(DeviceFacts facts) : _facts(std::move(facts))
{
    std::ranges::sort(_facts.interfaces, {}, &InterfaceFacts::number);
}

DeviceFacts VirtualUsbDevice::factsWithPorts()
{
    DeviceFacts facts = _facts;
    facts.locationID = nextLocation();
    facts.address = static_cast<std::uint16_t>(_plugging);
    for (InterfaceFacts& interface : facts.interfaces) {
        if (!interface.reportDescriptor.empty()) {
            interface.hid = std::make_shared<VirtualPort>(shared_from_this(), _plugging, interface.number);
        }
    }
    return facts;
}

void VirtualUsbDevice::plug()
{
    // The registry calls nothing of ours from publish and terminate, so the lock may be held.
    const std::scoped_lock lock(_mutex);
    if (_key == 0) {
        ++_plugging;
        _key = registry().publish(factsWithPorts());
    }
}

void VirtualUsbDevice::unplug()
{
    {
        const std::scoped_lock lock(_mutex);
        if (_key == 0) {
            return;
        }
        for (const OpenQueue& open : _openQueues) {
            open.queue->end();
        }
        _openQueues.clear();
        registry().terminate(std::exchange(_key, 0));
    }
    roomMade();
}

bool VirtualUsbDevice::isPlugged() const
{
    const std::scoped_lock lock(_mutex);
    return _key != 0;
}

std::size_t VirtualUsbDevice::openCount(int interfaceNumber) const
{
    const std::scoped_lock lock(_mutex);
    return static_cast<std::size_t>(std::ranges::count(_openQueues, interfaceNumber, &OpenQueue::interfaceNumber));
}

bool VirtualUsbDevice::sendInputReport(int interfaceNumber, std::span<const std::uint8_t> report)
{
    const std::scoped_lock lock(_mutex);
    bool anyReader = false;
    bool allTook = true;
    for (const OpenQueue& open : _openQueues) {
        if (open.interfaceNumber == interfaceNumber) {
            anyReader = true;
            allTook = open.queue->push(report) && allTook;
        }
    }
    return anyReader && allTook;
}

bool VirtualUsbDevice::hasRoom(int interfaceNumber) const
{
    const std::scoped_lock lock(_mutex);
    return std::ranges::all_of(_openQueues, [&](const OpenQueue& open) {
        return open.interfaceNumber != interfaceNumber || open.queue->hasRoom();
    });
}

void VirtualUsbDevice::setSentReportHandler(SentReportHandler handler)
{
    const std::scoped_lock lock(_mutex);
    _sentReportHandler = shared(std::move(handler));
}

void VirtualUsbDevice::setReportRequestHandler(ReportRequestHandler handler)
{
    const std::scoped_lock lock(_mutex);
    _reportRequestHandler = shared(std::move(handler));
}

void VirtualUsbDevice::setRoomListener(const void* owner, RoomListener listener)
{
    const std::scoped_lock lock(_mutex);
    if (listener) {
        _roomListeners[owner] = shared(std::move(listener));
    } else {
        _roomListeners.erase(owner);
    }
}

Status VirtualUsbDevice::openQueue(std::uint64_t plugging, int interfaceNumber, std::shared_ptr<ReportQueue>& queue)
{
    const std::scoped_lock lock(_mutex);
    if (_key == 0 || plugging != _plugging) {
        return Status::notAttached;
    }
    auto opened = std::make_shared<ReportQueue>(kQueuedReports);
    if (opened->descriptor() < 0) {
        log(LogLevel::error, "Interface " + std::to_string(interfaceNumber) + " of the virtual device \"" +
                                 _facts.productName.value_or("") + "\" cannot be opened: no file descriptor is free.");
        return Status::noResources;
    }
    _openQueues.push_back({interfaceNumber, opened});
    queue = std::move(opened);
    return Status::success;
}

void VirtualUsbDevice::closeQueue(const std::shared_ptr<ReportQueue>& queue)
{
    {
        const std::scoped_lock lock(_mutex);
        std::erase_if(_openQueues, [&](const OpenQueue& open) { return open.queue == queue; });
    }
    roomMade();
}

Status VirtualUsbDevice::takeSentReport(std::uint64_t plugging, SentReport report)
{
    std::shared_ptr<const SentReportHandler> handler;
    {
        const std::scoped_lock lock(_mutex);
        if (_key == 0 || plugging != _plugging) {
            return Status::notAttached;
        }
        _lastReports[{report.interfaceNumber, {report.type, report.reportID}}] = report.bytes;
        handler = _sentReportHandler;
        if (handler == nullptr) {
            _sentReports.push_back(std::move(report));
            return Status::success;
        }
    }
    return (*handler)(report) ? Status::success : Status::pipeStalled;
}

Status VirtualUsbDevice::answerRequest(std::uint64_t plugging, int interfaceNumber, ReportType type,
                                       std::uint32_t reportID, std::vector<std::uint8_t>& answer)
{
    std::shared_ptr<const ReportRequestHandler> handler;
    {
        const std::scoped_lock lock(_mutex);
        if (_key == 0 || plugging != _plugging) {
            return Status::notAttached;
        }
        handler = _reportRequestHandler;
        if (handler == nullptr) {
            const auto last = _lastReports.find({interfaceNumber, {type, reportID}});
            if (last == _lastReports.end()) {
                return Status::pipeStalled;
            }
            answer = last->second;
            return Status::success;
        }
    }
    return (*handler)(interfaceNumber, type, reportID, answer) ? Status::success : Status::pipeStalled;
}

void VirtualUsbDevice::roomMade()
{
    std::unique_lock lock(_mutex);
    // A listener may remove itself and others while it is called, so each time the next one is looked up.
    for (auto next = _roomListeners.begin(); next != _roomListeners.end();) {
        const auto [owner, listener] = *next;
        lock.unlock();
        (*listener)();
        lock.lock();
        next = _roomListeners.upper_bound(owner);
    }
}

} // namespace qrx::platform
