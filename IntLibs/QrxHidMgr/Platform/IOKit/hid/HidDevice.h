#pragma once

#include "CountedInterface.h"
#include "EventSource.h"
#include "HidQueueElement.h"
#include "IOKit/registry/HidEntries.h"
#include "LocalShared.h"
#include "Provider/Provider.h"

#include <IOKit/IOCFPlugIn.h>
#include <IOKit/hid/IOHIDLib.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace qrx::iokit {

class HidQueue;

/// One program's access to one HID interface: the object behind the plug-in and the device interface that the program
/// holds references on. It keeps the driver's entry alive. On the thread that opens it.
///
/// Input reports are taken from the channel by whichever source of the device or its queues is served, and go straight
/// on: into the queues, and into the buffer of the interrupt handler, without being kept. The interrupt handler is
/// called where the device's own source is in the run loop. Not supported here, or different:
/// - exclusive opening (kIOHIDOptionsTypeSeizeDevice), setElementValue, queryElementValue, copyMatchingElements and the
///   asynchronous port answer kIOReturnUnsupported, allocOutputTransaction gives null;
/// - setReport and getReport with a callback do their work at once and call back from the device's source, which must
///   exist (kIOReturnUnsupported otherwise); what has not been called back at a close is dropped;
/// - where the channel may have lost input, the interrupt handler and a queue's callout are called with the result
///   kIOReturnOverrun;
/// - getElementValue of an input element answers from the last report since its first call, which asks the device for
///   one; it asks for feature values each time.
class HidDevice final : public EventSource::Client, public CountedInterface<HidDevice> {
public:
    /// What the user holds a pointer to; the tables lead back to the object.
    template <typename Table>
    struct Face {
        const Table* table;
        HidDevice* device;
    };
    using PlugInFace = Face<IOCFPlugInInterface>;
    using DeviceFace = Face<IOHIDDeviceInterface122>;

    struct InterruptHandler {
        void* buffer = nullptr;
        std::uint32_t size = 0;
        IOHIDReportCallbackFunction callback = nullptr;
        void* target = nullptr;
        void* refcon = nullptr;
    };
    struct RemovalHandler {
        IOHIDCallbackFunction callback = nullptr;
        void* target = nullptr;
        void* refcon = nullptr;
    };
    /// An asynchronous request that is done; its callback waits for the source.
    struct Completion {
        IOHIDReportCallbackFunction callback = nullptr;
        void* target = nullptr;
        void* refcon = nullptr;
        IOReturn result = kIOReturnSuccess;
        std::uint32_t size = 0;
    };
    using Bytes = std::span<std::uint8_t>;

    /// With one reference for the caller.
    static IOCFPlugInInterface** create(std::shared_ptr<HidDriverEntry> entry);
    static HidDevice& ofPlugIn(void* self) { return *static_cast<PlugInFace*>(self)->device; }
    static HidDevice& ofDevice(void* self) { return *static_cast<DeviceFace*>(self)->device; }

    explicit HidDevice(std::shared_ptr<HidDriverEntry> entry);
    ~HidDevice();

    // --- for the tables ---

    /// The face of an interface ID with one more reference; null for an unknown one.
    void* query(REFIID iid);
    IOReturn createSource(CFRunLoopSourceRef* source);
    CFRunLoopSourceRef source() const { return _source ? _source->source() : nullptr; }
    IOReturn open(IOOptionBits flags);
    IOReturn close();
    void setRemovalHandler(RemovalHandler handler) { _removal = handler; }
    /// Survives close and reopen, as on the platform: whoever frees the buffer sets another handler or does not open
    /// again.
    void setInterruptHandler(const InterruptHandler& handler);
    IOReturn setReport(std::uint32_t type, std::uint32_t id, Bytes bytes, Completion completion);
    /// `size`: what came; unchanged on failure.
    IOReturn getReport(std::uint32_t type, std::uint32_t id, Bytes buffer, std::uint32_t& size, Completion completion);
    IOReturn elementValue(IOHIDElementCookie cookie, IOHIDEventStruct& event);
    IOReturn forEachQueue(IOReturn (HidQueue::*operation)());

    // --- for the queues ---

    void add(HidQueue& queue);
    void remove(HidQueue& queue);
    bool isOpen() const { return bool(_channel); }
    /// The device has left, and all that it had sent before has been taken.
    bool isTerminated() const { return _isGone || (!isOpen() && !_entry->isActive()); }
    /// The device has left; what it had sent before may still wait.
    bool hasLeft() const { return _isGone || !_entry->isActive(); }
    /// The channel's descriptor; -1 while there is none to watch.
    int descriptor() const;
    std::shared_ptr<const DriverElements> elements();
    /// Takes reports and hands them on, a bounded number: true if more may wait (the bound ended it, or the channel did
    /// not ask). `origin`: the queue whose source is served; null for the device's own.
    bool pump(HidQueue* origin);

    // --- for applications ---

    /// As HIDChannel::possibleLosses; no value while the device is not open.
    std::optional<std::uint64_t> possibleLosses() const
    {
        return _channel ? std::optional(_channel->possibleLosses()) : std::nullopt;
    }

    /// Since the device was opened.
    struct Counts {
        std::uint64_t reports = 0;
        std::uint64_t bytes = 0;
        std::uint64_t wakeUps = 0;
    };
    const Counts& counts() const { return _counts; }
    /// When the report that is being handed on, or was handed on last, was read. Times are taken from the first call
    /// on, which is answered with the present time.
    std::chrono::steady_clock::time_point arrivalTime();

    const platform::DeviceFacts& device() const { return _entry->record().facts; }
    /// As HIDPort::nodePath.
    std::string nodePath() const { return _entry->facts().hid->nodePath(); }

    // --- for the end of the device ---

    bool isOf(const DeviceRecord& record) const { return &_entry->record() == &record; }
    /// Hands on all that waits, as the sources in the calling thread's run loop would. What a delegate's exception left
    /// of a burst, and all that came after it, is part of that.
    void deliverRest();

private:
    friend CountedInterface;
    struct Pass;

    /// Sets `origin`; false if no source of this device is in the calling thread's run loop.
    bool findServedSource(HidQueue*& origin) const;
    using ReportName = std::pair<hid::ReportType, std::uint32_t>;

    void perform() override;
    void deliverCompletions();
    /// The reports of a pass, until none waits or the bound is reached; true if more may wait.
    inline bool takeReports(Pass& pass);
    /// Input has found no room since the last call; told with the result kIOReturnOverrun, and with how often in place
    /// of the interrupt handler's size.
    void tellLosses(Pass& pass);
    void noteInput(std::span<const std::uint8_t> bytes, const HidQueue* origin);
    inline void deliver(std::span<const std::uint8_t> report, const Pass& pass);
    inline void interrupt(std::span<const std::uint8_t> bytes);
    void deviceLeft();
    void retire();
    void closeChannel();
    /// The sources wait for this descriptor; -1 for none.
    void watch(int fd);
    void signalSources();
    inline bool deliversInterruptsFor(const HidQueue* origin) const;
    /// A report of any type has reached or left the device.
    void note(const ReportView& report, const HidQueue* origin);
    IOReturn requestState() const;
    IOReturn finish(IOReturn result, std::uint32_t size, Completion completion);
    /// The report as last seen; asks the device if there is none or `isFresh` is wanted. Null if it does not answer.
    const std::vector<std::uint8_t>* lastReport(hid::ReportType type, std::uint32_t id, bool isFresh);

    PlugInFace _plugInFace;
    DeviceFace _deviceFace;
    const std::shared_ptr<HidDriverEntry> _entry;
    std::shared_ptr<const DriverElements> _elements;

    /// Shared with calls in progress: foreign code within them may close the device.
    LocalShared<platform::HIDChannel> _channel;
    /// Goes up with every open and close: a pass that finds another number than it began with is over.
    std::uint64_t _generation = 0;
    bool _isGone = false;
    /// How many of the channel's possible losses were reported.
    std::uint64_t _toldLosses = 0;
    Counts _counts;
    /// Arrival times are taken from the first question for one on.
    bool _takesTimes = false;
    std::chrono::steady_clock::time_point _arrivalTime;

    std::unique_ptr<EventSource> _source;
    std::vector<HidQueue*> _queues;
    InterruptHandler _interrupt;
    RemovalHandler _removal;
    std::deque<Completion> _completions;
    /// Reports are kept from the first question for an element's value on.
    bool _keepsReports = false;
    std::map<ReportName, std::vector<std::uint8_t>> _lastReports;
};

} // namespace qrx::iokit
