// One program's access to one HID interface: what opens and closes it, the requests that it answers at once, and what
// happens besides the passes (HidDevicePass.cpp) in which its input is handed on.

#include "HidDevice.h"

#include "Base/WrittenLines.h"
#include "HidQueue.h"
#include "HidTables.h"
#include "OpenDevices.h"
#include "RefusalLog.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cstring>

using qrx::platform::HIDChannel;

namespace qrx::iokit {

namespace {

IOReturn resultOf(platform::Status status)
{
    return static_cast<IOReturn>(status);
}

bool isSame(REFIID first, CFUUIDRef second)
{
    const CFUUIDBytes bytes = CFUUIDGetUUIDBytes(second);
    return std::memcmp(&first, &bytes, sizeof bytes) == 0;
}

} // namespace

IOCFPlugInInterface** HidDevice::create(std::shared_ptr<HidDriverEntry> entry)
{
    return reinterpret_cast<IOCFPlugInInterface**>(&handOut(std::make_shared<HidDevice>(std::move(entry)))._plugInFace);
}

HidDevice::HidDevice(std::shared_ptr<HidDriverEntry> entry)
    : _plugInFace{&kHidPlugInTable, this}, _deviceFace{&kHidDeviceTable, this}, _entry(std::move(entry))
{
}

HidDevice::~HidDevice() = default;

void* HidDevice::query(REFIID iid)
{
    void* face = nullptr;
    if (isSame(iid, IUnknownUUID) || isSame(iid, kIOCFPlugInInterfaceID)) {
        face = &_plugInFace;
    } else if (isSame(iid, kIOHIDDeviceInterfaceID) || isSame(iid, kIOHIDDeviceInterfaceID121) ||
               isSame(iid, kIOHIDDeviceInterfaceID122)) {
        face = &_deviceFace;
    } else {
        return nullptr;
    }
    retain();
    return face;
}

void HidDevice::retire()
{
    closeChannel();
    _interrupt = {};
    _removal = {};
    // Queues may be held longer than their device. They are told first and answer "no device" from then on.
    for (HidQueue* queue : std::exchange(_queues, {})) {
        queue->deviceGone();
    }
    _source.reset();
}

IOReturn HidDevice::createSource(CFRunLoopSourceRef* source)
{
    if (source == nullptr) {
        return kIOReturnBadArgument;
    }
    if (!_source) {
        _source = std::make_unique<EventSource>(*this);
        _source->watch(descriptor());
    }
    CFRetain(_source->source());
    *source = _source->source();
    return kIOReturnSuccess;
}

int HidDevice::descriptor() const
{
    return _channel && !_isGone ? _channel->descriptor() : -1;
}

IOReturn HidDevice::open(IOOptionBits flags)
{
    // hidraw has no exclusive opening; answering success would promise what is not so.
    if ((flags & kIOHIDOptionsTypeSeizeDevice) != 0) {
        return kIOReturnUnsupported;
    }
    // Opening twice is harmless, unless the device has left since.
    if (_channel) {
        return _isGone ? kIOReturnNotAttached : kIOReturnSuccess;
    }
    const auto self = shared_from_this();
    std::unique_ptr<HIDChannel> channel;
    const std::uint64_t lines = platform::writtenLines();
    const platform::Status status = _entry->facts().hid->open(channel);
    if (status != platform::Status::success || !channel) {
        // Where the port has written what a person must act on, a second line would only repeat it.
        if (platform::writtenLines() == lines) {
            tellRefusedOpen(_entry->record().facts, _entry->facts(), resultOf(status));
        }
        return status == platform::Status::success ? kIOReturnError : resultOf(status);
    }
    LocalShared<HIDChannel> opened(std::move(channel));
    open_devices::add(self);
    // Nothing takes memory from here on, so the device is either open or not.
    _channel = std::move(opened);
    ++_generation;
    _toldLosses = 0;
    _counts = {};
    _takesTimes = false;
    watch(descriptor());
    return kIOReturnSuccess;
}

IOReturn HidDevice::close()
{
    if (!_channel) {
        return kIOReturnNotOpen;
    }
    closeChannel();
    return kIOReturnSuccess;
}

void HidDevice::closeChannel()
{
    watch(-1);
    open_devices::remove(*this);
    ++_generation;
    _completions.clear();
    _lastReports.clear();
    _keepsReports = false;
    // The last step: ending the channel may run foreign code, which finds this object closed. A pass or request in
    // progress may hold the channel longer.
    const auto channel = std::move(_channel);
}

void HidDevice::setInterruptHandler(const InterruptHandler& handler)
{
    _interrupt = handler;
    // Without a buffer no byte is copied, but the handler is still called.
    if (_interrupt.buffer == nullptr) {
        _interrupt.size = 0;
    }
}

void HidDevice::watch(int fd)
{
    if (_source) {
        _source->watch(fd);
    }
    std::for_each(_queues.begin(), _queues.end(), [fd](HidQueue* queue) { queue->watch(fd); });
}

void HidDevice::signalSources()
{
    if (_source) {
        _source->signal();
    }
    std::for_each(_queues.begin(), _queues.end(), [](HidQueue* queue) { queue->signal(); });
}

void HidDevice::add(HidQueue& queue)
{
    _queues.push_back(&queue);
}

void HidDevice::remove(HidQueue& queue)
{
    std::erase(_queues, &queue);
}

IOReturn HidDevice::forEachQueue(IOReturn (HidQueue::*operation)())
{
    IOReturn result = kIOReturnSuccess;
    for (HidQueue* queue : _queues) {
        const IOReturn one = (queue->*operation)();
        result = result == kIOReturnSuccess ? one : result;
    }
    return result;
}

std::shared_ptr<const DriverElements> HidDevice::elements()
{
    if (!_elements) {
        _elements = _entry->elements();
    }
    return _elements;
}

// --- input -------------------------------------------------------------------------------------------------------

std::chrono::steady_clock::time_point HidDevice::arrivalTime()
{
    if (!std::exchange(_takesTimes, true)) {
        _arrivalTime = std::chrono::steady_clock::now();
    }
    return _arrivalTime;
}

bool HidDevice::findServedSource(HidQueue*& origin) const
{
    const CFRunLoopRef loop = CFRunLoopGetCurrent();
    const auto isServed = [loop](CFRunLoopSourceRef source) {
        return source != nullptr && CFRunLoopContainsSource(loop, source, kCFRunLoopDefaultMode);
    };
    const auto served =
        std::find_if(_queues.begin(), _queues.end(), [&](HidQueue* queue) { return isServed(queue->source()); });
    origin = served != _queues.end() ? *served : nullptr;
    return origin != nullptr || isServed(source());
}

void HidDevice::deliverRest()
{
    const auto self = shared_from_this();
    // A device that has left sends nothing more, so this ends. Each pass may change which sources are served.
    for (bool isMore = true; isMore;) {
        HidQueue* origin = nullptr;
        if (!findServedSource(origin)) {
            return;
        }
        // The callout may release its own queue.
        const auto held = origin != nullptr ? origin->shared_from_this() : nullptr;
        isMore = pump(origin);
    }
}

void HidDevice::noteInput(std::span<const std::uint8_t> bytes, const HidQueue* origin)
{
    // The number is the first byte where the interface numbers its reports, by its descriptor; the bytes alone do not
    // tell.
    const bool isNumbered = elements()->tree.usesReportIDs;
    const std::uint32_t id = isNumbered && !bytes.empty() ? bytes.front() : 0;
    note({hid::ReportType::input, id, bytes, true}, origin);
}

void HidDevice::note(const ReportView& report, const HidQueue* origin)
{
    for (HidQueue* queue : _queues) {
        if (queue->take(report) && queue != origin) {
            queue->signal();
        }
    }
    if (_keepsReports) {
        _lastReports[{report.type, report.id}].assign(report.bytes.begin(), report.bytes.end());
    }
}

void HidDevice::deviceLeft()
{
    // The descriptor of a device that has left stays readable for ever, so it leaves the sets before anything else.
    watch(-1);
    _isGone = true;
    // Cleared before the call: it is called once, and may set another.
    const RemovalHandler handler = std::exchange(_removal, {});
    if (handler.callback != nullptr) {
        handler.callback(handler.target, kIOReturnSuccess, handler.refcon, &_deviceFace);
    }
}

// --- requests ----------------------------------------------------------------------------------------------------

IOReturn HidDevice::requestState() const
{
    if (!_channel) {
        return kIOReturnNotOpen;
    }
    return _isGone ? kIOReturnNotAttached : kIOReturnSuccess;
}

IOReturn HidDevice::finish(IOReturn result, std::uint32_t size, Completion completion)
{
    if (completion.callback == nullptr) {
        return result;
    }
    if (_channel && _source) {
        completion.result = result;
        completion.size = size;
        _completions.push_back(completion);
        _source->signal();
    }
    return kIOReturnSuccess;
}

void HidDevice::deliverCompletions()
{
    // Only as many as there are now, since a callback may ask for more. Each leaves the list before its call, and the
    // source is signalled before the call too, in case it throws.
    for (std::size_t left = _completions.size(); left > 0 && !_completions.empty(); --left) {
        const Completion completion = _completions.front();
        _completions.pop_front();
        if (!_completions.empty()) {
            _source->signal();
        }
        completion.callback(completion.target, completion.result, completion.refcon, &_deviceFace, completion.size);
    }
}

IOReturn HidDevice::setReport(std::uint32_t type, std::uint32_t id, Bytes bytes, Completion completion)
{
    if (const IOReturn state = requestState(); state != kIOReturnSuccess) {
        tellRefusedReport(_entry->record().facts, _entry->facts(), type, id, state);
        return state;
    }
    if (type >= kIOHIDReportTypeCount || (bytes.data() == nullptr && !bytes.empty())) {
        return kIOReturnBadArgument;
    }
    if (completion.callback != nullptr && !_source) {
        return kIOReturnUnsupported;
    }
    // The owner of a virtual device may run in the call, and may close or release this object.
    const auto self = shared_from_this();
    const auto channel = _channel;
    const auto status = channel->setReport(static_cast<hid::ReportType>(type), id, bytes);
    if (status != platform::Status::success) {
        tellRefusedReport(_entry->record().facts, _entry->facts(), type, id, resultOf(status));
        // Output that was sent is an event for queues with output elements, unless the device was closed meanwhile.
    } else if (channel == _channel && !_queues.empty()) {
        note({static_cast<hid::ReportType>(type), id, bytes, false}, nullptr);
    }
    return finish(resultOf(status), static_cast<std::uint32_t>(bytes.size()), completion);
}

IOReturn HidDevice::getReport(std::uint32_t type, std::uint32_t id, Bytes buffer, std::uint32_t& size,
                              Completion completion)
{
    if (const IOReturn state = requestState(); state != kIOReturnSuccess) {
        return state;
    }
    if (type >= kIOHIDReportTypeCount || (buffer.data() == nullptr && !buffer.empty())) {
        return kIOReturnBadArgument;
    }
    if (completion.callback != nullptr && !_source) {
        return kIOReturnUnsupported;
    }
    const auto self = shared_from_this();
    const auto channel = _channel;
    std::size_t received = 0;
    const auto status = channel->getReport(static_cast<hid::ReportType>(type), id, buffer, received);
    if (status == platform::Status::success) {
        // A channel that reports more than it was given room for must not make a caller read beyond the buffer.
        received = std::min(received, buffer.size());
        size = static_cast<std::uint32_t>(received);
        if (channel == _channel && (!_queues.empty() || _keepsReports)) {
            note({static_cast<hid::ReportType>(type), id, buffer.first(received), false}, nullptr);
        }
    }
    return finish(resultOf(status), static_cast<std::uint32_t>(received), completion);
}

const std::vector<std::uint8_t>* HidDevice::lastReport(hid::ReportType type, std::uint32_t id, bool isFresh)
{
    _keepsReports = true;
    const auto known = _lastReports.find({type, id});
    if (known != _lastReports.end() && !isFresh) {
        return &known->second;
    }
    // The buffer has the longest size of the type; the answer says how long this report is.
    const hid::ElementTree& tree = elements()->tree;
    const std::uint32_t sizes[] = {tree.maxInputReportSize, tree.maxOutputReportSize, tree.maxFeatureReportSize};
    std::vector<std::uint8_t> buffer(sizes[static_cast<std::size_t>(type)]);
    std::uint32_t size = 0;
    const IOReturn result = getReport(static_cast<std::uint32_t>(type), id, buffer, size, {});
    const auto now = _lastReports.find({type, id});
    return result == kIOReturnSuccess && now != _lastReports.end() ? &now->second : nullptr;
}

IOReturn HidDevice::elementValue(IOHIDElementCookie cookie, IOHIDEventStruct& event)
{
    if (const IOReturn state = requestState(); state != kIOReturnSuccess) {
        return state;
    }
    const auto known = elements();
    const hid::ElementTree& tree = known->tree;
    const auto type = cookie < tree.elements.size() ? reportTypeOf(tree.elements[cookie]) : std::nullopt;
    if (!type) {
        return kIOReturnBadArgument;
    }
    const hid::Element& element = tree.elements[cookie];
    const auto self = shared_from_this();
    const auto* report = lastReport(*type, element.reportID, *type == hid::ReportType::feature);
    ElementValue value;
    // A selector has no place in the report: its value depends on what all entries of its array show.
    if (element.role == hid::ElementRole::arraySelector) {
        HidQueueElement selector(known, cookie);
        auto taken = report != nullptr ? selector.take({*type, element.reportID, *report, false}, true)
                                       : std::optional<ElementValue>();
        value = taken ? std::move(*taken) : ElementValue{};
    } else {
        value = readValue(element, report != nullptr ? *report : std::vector<std::uint8_t>());
    }
    event = {static_cast<IOHIDElementType>(element.type),
             cookie,
             value.value,
             {0, 0},
             value.longSize,
             value.longValue.release()};
    return kIOReturnSuccess;
}

} // namespace qrx::iokit
