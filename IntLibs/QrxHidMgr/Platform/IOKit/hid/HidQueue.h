#pragma once

#include "CountedInterface.h"
#include "EventSource.h"
#include "HidQueueElement.h"

#include <IOKit/hid/IOHIDLib.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

namespace qrx::iokit {

class HidDevice;

/// A queue of value changes of one device: the object behind IOHIDQueueInterface.
///
/// It does not keep its device; when that goes, the queue answers NoDevice and stays silent. A queue that is given up
/// within its own callout lives until the callout returns. On the device's thread.
///
/// Its event source fires for events that wait, and takes reports from the device itself, so a program that uses queues
/// needs no other source. createAsyncPort is not supported.
class HidQueue final : public EventSource::Client, public CountedInterface<HidQueue> {
public:
    /// What the queue's user holds a pointer to.
    struct Face {
        const IOHIDQueueInterface* table;
        HidQueue* queue;
    };

    /// With one reference for the caller.
    static IOHIDQueueInterface** create(HidDevice& device);
    static HidQueue& of(void* self) { return *static_cast<Face*>(self)->queue; }

    explicit HidQueue(HidDevice& device);
    ~HidQueue();

    // --- for the table ---

    IOReturn createSource(CFRunLoopSourceRef* source);
    CFRunLoopSourceRef source() const { return _source ? _source->source() : nullptr; }
    IOReturn create(std::uint32_t flags, std::uint32_t depth);
    IOReturn dispose();
    IOReturn addElement(IOHIDElementCookie cookie);
    IOReturn removeElement(IOHIDElementCookie cookie);
    bool hasElement(IOHIDElementCookie cookie) const;
    IOReturn start();
    IOReturn stop();
    IOReturn nextEvent(IOHIDEventStruct& event);
    void setCallout(IOHIDCallbackFunction callback, void* target, void* refcon);
    void getCallout(IOHIDCallbackFunction* callback, void** target, void** refcon) const;

    // --- for the device ---

    void deviceGone();
    void watch(int fd);
    void signal();
    /// Queues what the report changes. True if the callout is due now and was not before.
    bool take(const ReportView& report);
    bool isCalloutDue() const { return _isCalloutDue; }
    /// Calls back if that is due. Anything may happen during the call.
    void callOut();
    /// Calls back with the result kIOReturnOverrun. Anything may happen during the call.
    void tellLoss();

private:
    friend CountedInterface;

    struct Event {
        IOHIDElementType type;
        IOHIDElementCookie cookie;
        std::uint64_t timestamp;
        ElementValue value;
    };
    struct Callout {
        IOHIDCallbackFunction function = nullptr;
        void* target = nullptr;
        void* refcon = nullptr;
    };

    void perform() override;
    void retire();
    void clear();
    /// Success if the queue can be used; else kIOReturnNoDevice (its device interface has gone), kIOReturnError (it was
    /// not created) or kIOReturnNotAttached (the device has left).
    IOReturn state() const;

    Face _face;
    HidDevice* _device;
    std::unique_ptr<EventSource> _source;
    Callout _callout;

    bool _isCreated = false;
    bool _isStarted = false;
    bool _wasStarted = false;
    bool _isEveryValueQueued = false;
    std::size_t _depth = 0;
    /// Ordered by cookie, report handlers first; the events of one report are queued in this order.
    std::vector<HidQueueElement> _elements;
    std::deque<Event> _events;
    /// An event has come into the empty queue, and the callout has not been called for it.
    bool _isCalloutDue = false;
};

} // namespace qrx::iokit
