// A USB device in memory. To the registry it is a device like any other: plugging publishes its facts, unplugging
// terminates its entry. Each time of plugging has a number, and ports and channels carry the number of theirs; after an
// unplug they answer "not attached" for ever, as the nodes of a real device do, even when the device is plugged again.
//
// Every open channel has a queue of its own, so that each reader gets every report, as with several programs that open
// one hidraw node. Handlers of the application run without the lock: they may call the device, unplug it or replace
// themselves.

#include "VirtualUsbDevice.h"

#include "Base/Log.h"
#include "ReportQueue.h"
#include "VirtualChannel.h"

#include <algorithm>
#include <atomic>
#include <string>

namespace qrx::platform {

namespace {

/// The number of the virtual bus in locations, above any that a machine gives its own buses.
constexpr std::uint32_t kVirtualBus = 0xFE;

/// Each plugging has a location of its own: the ports of the virtual bus are filled one after the other.
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
    // The registry lists interfaces by number.
    std::ranges::sort(_facts.interfaces, {}, &InterfaceFacts::number);
}

DeviceFacts VirtualUsbDevice::factsWithPorts()
{
    DeviceFacts facts = _facts;
    if (_behaviour) {
        _behaviour->changeFacts(facts);
    }
    facts.locationID = nextLocation();
    // Like a real bus, which gives a device a new address each time it is plugged.
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
        // Before the facts are made: their ports carry the number of this period.
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
            // What waits in the queues stays readable: a reader gets everything that was sent before the unplug, and
            // then the end.
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

std::shared_ptr<DeviceBehaviour> VirtualUsbDevice::behaviour() const
{
    const std::scoped_lock lock(_mutex);
    return _behaviour;
}

std::shared_ptr<DeviceBehaviour> VirtualUsbDevice::behaviourOf(std::uint64_t plugging) const
{
    const std::scoped_lock lock(_mutex);
    return _key != 0 && plugging == _plugging ? _behaviour : nullptr;
}

void VirtualUsbDevice::setBehaviour(std::shared_ptr<DeviceBehaviour> behaviour)
{
    const std::scoped_lock lock(_mutex);
    // The earlier one ends with the parameter, after the lock.
    std::swap(_behaviour, behaviour);
}

bool VirtualUsbDevice::sendInputReport(int interfaceNumber, std::span<const std::uint8_t> report)
{
    const auto behaviour = this->behaviour();
    return behaviour ? behaviour->sendInputReport(interfaceNumber, report)
                     : deliverInputReport(interfaceNumber, report);
}

bool VirtualUsbDevice::deliverInputReport(int interfaceNumber, std::span<const std::uint8_t> report)
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
    // Without a reader the report is lost, as the kernel drops input that no open node waits for.
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
    _hasRoomListeners.store(!_roomListeners.empty(), std::memory_order_relaxed);
}

Status VirtualUsbDevice::openQueue(std::uint64_t plugging, int interfaceNumber, std::shared_ptr<ReportQueue>& queue)
{
    if (const auto behaviour = behaviourOf(plugging)) {
        if (const Status status = behaviour->open(interfaceNumber); status != Status::success) {
            return status;
        }
    }
    const std::scoped_lock lock(_mutex);
    if (_key == 0 || plugging != _plugging) {
        return Status::notAttached;
    }
    auto opened = std::make_shared<ReportQueue>(kQueuedReports);
    // Logged at error level, because the operation of the model that opens reports no failure to its caller.
    if (opened->descriptor() < 0) {
        log(LogLevel::error, "Interface " + std::to_string(interfaceNumber) + " of the virtual device \"" +
                                 _facts.productName.value_or("") + "\" cannot be opened: no file descriptor is free.");
        return Status::noResources;
    }
    // Last: whatever failed before this has left nothing behind.
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
    // The script decides before the owner: the owner does not hear of what it refuses.
    if (const auto behaviour = behaviourOf(plugging)) {
        if (const auto status = behaviour->takeSentReport(report)) {
            return *status;
        }
    }
    {
        const std::scoped_lock lock(_mutex);
        if (_key == 0 || plugging != _plugging) {
            return Status::notAttached;
        }
        // Kept for requests without a handler: a device answers with what was last written to it.
        _lastReports[{report.interfaceNumber, {report.type, report.reportID}}] = report.bytes;
        handler = _sentReportHandler;
        if (handler == nullptr) {
            _sentReports.push_back(std::move(report));
            return Status::success;
        }
    }
    // Called without the lock, on the thread that sends. The handler decides: a refusal reaches the sender as a stall,
    // as when a real device refuses a control transfer.
    return (*handler)(report) ? Status::success : Status::pipeStalled;
}

Status VirtualUsbDevice::answerRequest(std::uint64_t plugging, int interfaceNumber, ReportType type,
                                       std::uint32_t reportID, std::vector<std::uint8_t>& answer)
{
    std::shared_ptr<const ReportRequestHandler> handler;
    if (const auto behaviour = behaviourOf(plugging)) {
        if (const auto status = behaviour->answerRequest(interfaceNumber, type, reportID, answer)) {
            return *status;
        }
    }
    {
        const std::scoped_lock lock(_mutex);
        if (_key == 0 || plugging != _plugging) {
            return Status::notAttached;
        }
        handler = _reportRequestHandler;
        if (handler == nullptr) {
            const auto last = _lastReports.find({interfaceNumber, {type, reportID}});
            // A report that was never written has no value to answer with. Many real devices stall such a request.
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
    if (!_hasRoomListeners.load(std::memory_order_relaxed)) {
        return;
    }
    std::unique_lock lock(_mutex);
    // A listener may remove itself and others while it is called, so the next one is looked up anew each time. The
    // order by owner makes sure that each is called at most once.
    for (auto next = _roomListeners.begin(); next != _roomListeners.end();) {
        const auto [owner, listener] = *next;
        lock.unlock();
        (*listener)();
        lock.lock();
        next = _roomListeners.upper_bound(owner);
    }
}

} // namespace qrx::platform
