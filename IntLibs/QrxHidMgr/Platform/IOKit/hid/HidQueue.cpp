// A queue of value changes. Each of its elements remembers its last value and turns a report into an event if the value
// has changed (or always, as its kind demands). The events of one report are in the order of the cookies, report
// handlers first. The callout is due when an event comes into the empty queue; it is called once, and its receiver is
// expected to read until the queue is empty.

#include "HidQueue.h"

#include "HidDevice.h"
#include "HidTables.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace qrx::iokit {

namespace {

// In nanoseconds of the monotonic clock, as all times of this ground.
std::uint64_t now()
{
    return static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch() /
                                      std::chrono::nanoseconds(1));
}

bool isHandler(const HidQueueElement& element)
{
    return element.element().role == hid::ElementRole::reportHandler;
}

// The order of the events of one report.
bool comesBefore(const HidQueueElement& first, const HidQueueElement& second)
{
    // Handlers carry whole reports, and their cookies are the highest; receivers expect them before the fields.
    return std::pair(!isHandler(first), first.element().cookie) <
           std::pair(!isHandler(second), second.element().cookie);
}

} // namespace

IOHIDQueueInterface** HidQueue::create(HidDevice& device)
{
    return reinterpret_cast<IOHIDQueueInterface**>(&handOut(std::make_shared<HidQueue>(device))._face);
}

HidQueue::HidQueue(HidDevice& device) : _face{&kHidQueueTable, this}, _device(&device)
{
    device.add(*this);
}

HidQueue::~HidQueue()
{
    if (_device != nullptr) {
        _device->remove(*this);
    }
}

void HidQueue::retire()
{
    if (_device != nullptr) {
        _device->remove(*this);
        _device = nullptr;
    }
    _callout = {};
    _source.reset();
    clear();
}

void HidQueue::deviceGone()
{
    _device = nullptr;
    _source.reset();
    _isCalloutDue = false;
}

void HidQueue::clear()
{
    _isCreated = _isStarted = _wasStarted = _isCalloutDue = false;
    _elements.clear();
    _events.clear();
}

IOReturn HidQueue::state() const
{
    if (_device == nullptr) {
        return kIOReturnNoDevice;
    }
    if (!_isCreated) {
        return kIOReturnError;
    }
    return _device->isTerminated() ? kIOReturnNotAttached : kIOReturnSuccess;
}

IOReturn HidQueue::createSource(CFRunLoopSourceRef* source)
{
    if (_device == nullptr) {
        return kIOReturnNoDevice;
    }
    if (source == nullptr) {
        return kIOReturnBadArgument;
    }
    if (!_source) {
        _source = std::make_unique<EventSource>(*this);
        _source->watch(_device->descriptor());
        if (_isCalloutDue) {
            _source->signal();
        }
    }
    CFRetain(_source->source());
    *source = _source->source();
    return kIOReturnSuccess;
}

IOReturn HidQueue::create(std::uint32_t flags, std::uint32_t depth)
{
    if (_device == nullptr) {
        return kIOReturnNoDevice;
    }
    clear();
    // Creating again begins anew: elements and events of before are gone, as on the platform.
    _isCreated = true;
    _isEveryValueQueued = (flags & kIOHIDQueueOptionsTypeEnqueueAll) != 0;
    // A queue without room could never deliver.
    _depth = std::max<std::size_t>(depth, 1);
    return kIOReturnSuccess;
}

IOReturn HidQueue::dispose()
{
    if (const IOReturn result = state(); result != kIOReturnSuccess) {
        return result;
    }
    clear();
    return kIOReturnSuccess;
}

IOReturn HidQueue::addElement(IOHIDElementCookie cookie)
{
    if (const IOReturn result = state(); result != kIOReturnSuccess) {
        return result;
    }
    const auto elements = _device->elements();
    if (cookie >= elements->tree.elements.size() || !reportTypeOf(elements->tree.elements[cookie])) {
        return kIOReturnBadArgument;
    }
    // The platform's answer for an element that is in the queue already.
    if (hasElement(cookie)) {
        return kIOReturnNoMemory;
    }
    HidQueueElement element(elements, cookie);
    const auto place = std::upper_bound(_elements.begin(), _elements.end(), element, comesBefore);
    _elements.insert(place, std::move(element));
    return kIOReturnSuccess;
}

IOReturn HidQueue::removeElement(IOHIDElementCookie cookie)
{
    if (const IOReturn result = state(); result != kIOReturnSuccess) {
        return result;
    }
    const auto removed =
        std::erase_if(_elements, [cookie](const auto& element) { return element.element().cookie == cookie; });
    return removed == 0 ? kIOReturnBadArgument : kIOReturnSuccess;
}

bool HidQueue::hasElement(IOHIDElementCookie cookie) const
{
    return std::any_of(_elements.begin(), _elements.end(),
                       [cookie](const auto& element) { return element.element().cookie == cookie; });
}

IOReturn HidQueue::start()
{
    if (const IOReturn result = state(); result != kIOReturnSuccess) {
        return result;
    }
    _events.clear();
    // What was queued, and what was seen, belongs to the time before the start.
    std::for_each(_elements.begin(), _elements.end(), [](auto& element) { element.forget(); });
    _isCalloutDue = false;
    _isStarted = _wasStarted = true;
    return kIOReturnSuccess;
}

IOReturn HidQueue::stop()
{
    if (const IOReturn result = state(); result != kIOReturnSuccess) {
        return result;
    }
    if (!_device->isOpen()) {
        return kIOReturnNotOpen;
    }
    _isStarted = false;
    return kIOReturnSuccess;
}

IOReturn HidQueue::nextEvent(IOHIDEventStruct& event)
{
    if (const IOReturn result = state(); result != kIOReturnSuccess) {
        return result;
    }
    if (!_device->isOpen()) {
        return kIOReturnNotOpen;
    }
    // Before its first start a queue has no memory for events on the platform; hence this code and not "empty".
    if (!_wasStarted) {
        return kIOReturnNoMemory;
    }
    if (_events.empty()) {
        return kIOReturnUnderrun;
    }
    // A reader may call this at any time, in the callout or without one.
    Event& next = _events.front();
    event.type = next.type;
    event.elementCookie = next.cookie;
    event.value = next.value.value;
    event.timestamp = {static_cast<UInt32>(next.timestamp), static_cast<UInt32>(next.timestamp >> 32)};
    event.longValueSize = next.value.longSize;
    // The block belongs to the receiver from here on, who frees it.
    event.longValue = next.value.longValue.release();
    _events.pop_front();
    if (_events.empty()) {
        // Nothing is left to tell of. The next event makes the callout due again, and asks the source for it.
        _isCalloutDue = false;
    }
    return kIOReturnSuccess;
}

void HidQueue::setCallout(IOHIDCallbackFunction callback, void* target, void* refcon)
{
    _callout = {callback, target, refcon};
    if (_isCalloutDue) {
        signal();
    }
}

void HidQueue::getCallout(IOHIDCallbackFunction* callback, void** target, void** refcon) const
{
    if (callback != nullptr) {
        *callback = _callout.function;
    }
    if (target != nullptr) {
        *target = _callout.target;
    }
    if (refcon != nullptr) {
        *refcon = _callout.refcon;
    }
}

void HidQueue::watch(int fd)
{
    if (_source) {
        _source->watch(fd);
    }
}

void HidQueue::signal()
{
    if (_source) {
        _source->signal();
    }
}

// Called for every report while the queue is started, from whichever source is served.
bool HidQueue::take(const ReportView& report)
{
    const bool wasDue = _isCalloutDue;
    if (!_isStarted) {
        return false;
    }
    const std::uint64_t timestamp = now();
    for (HidQueueElement& element : _elements) {
        auto value = element.take(report, _isEveryValueQueued);
        // A full queue drops the new event and keeps those that wait.
        if (!value || _events.size() >= _depth) {
            continue;
        }
        // Due when the first event comes into the empty queue: its reader is called once and reads until it is empty.
        _isCalloutDue = _isCalloutDue || _events.empty();
        _events.push_back({static_cast<IOHIDElementType>(element.element().type), element.element().cookie, timestamp,
                           std::move(*value)});
    }
    return _isCalloutDue && !wasDue;
}

void HidQueue::tellLoss()
{
    if (const Callout callout = _callout; callout.function != nullptr) {
        const auto self = shared_from_this();
        callout.function(callout.target, kIOReturnOverrun, callout.refcon, &_face);
    }
}

void HidQueue::callOut()
{
    if (!_isCalloutDue || _callout.function == nullptr || _events.empty()) {
        return;
    }
    /// An exception of the callout may leave events in the queue. It is called for an event that comes into an empty
    /// queue, so for those that are left it is made due again.
    struct Retry {
        HidQueue& queue;
        bool isOver = false;
        ~Retry()
        {
            if (!isOver && !queue._events.empty()) {
                queue._isCalloutDue = true;
                // The source is asked to call again, since nothing may become readable for the events that are left.
                queue.signal();
            }
        }
    };
    _isCalloutDue = false;
    Retry retry{*this};
    // A copy: the callout may set another one, or release the queue.
    const Callout callout = _callout;
    callout.function(callout.target, kIOReturnSuccess, callout.refcon, &_face);
    retry.isOver = true;
}

void HidQueue::perform()
{
    const Call call(*this);
    // The callout may release the device, which clears `_device`; the reference keeps it for the comparison below.
    const auto device = _device != nullptr ? _device->shared_from_this() : nullptr;
    callOut();
    if (_device != nullptr && _device == device.get()) {
        device->pump(this);
    }
}

} // namespace qrx::iokit
