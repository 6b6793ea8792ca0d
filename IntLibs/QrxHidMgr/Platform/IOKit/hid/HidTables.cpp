// The tables of functions behind the published interfaces. Each function finds the object behind the pointer that the
// caller holds (its "face"), and passes the arguments on. The order of the functions is the platform's.

#include "HidTables.h"

#include "HidDevice.h"
#include "HidQueue.h"

#include <cstdint>
#include <cstring>
#include <span>

namespace qrx::iokit {

namespace {

std::span<std::uint8_t> bytesOf(void* bytes, std::uint32_t size)
{
    return {static_cast<std::uint8_t*>(bytes), size};
}

// By the rules of COM: the result is null on failure, and a face that is given out carries a reference.
HRESULT answerQuery(HidDevice& device, REFIID iid, LPVOID* interface)
{
    *interface = device.query(iid);
    return *interface != nullptr ? S_OK : E_NOINTERFACE;
}

// There are no ports here; the run loop source is the way to be called.
IOReturn noAsyncPort(void*, mach_port_t*)
{
    return kIOReturnUnsupported;
}

mach_port_t nullAsyncPort(void*)
{
    return MACH_PORT_NULL;
}

// Not supported: sending one value takes the rest of its report, which only the program knows. Programs send whole
// reports (`setReport`), and read single values by `getElementValue`.
IOReturn noElementRequest(void*, IOHIDElementCookie, IOHIDEventStruct*, UInt32, IOHIDElementCallbackFunction, void*,
                          void*)
{
    return kIOReturnUnsupported;
}

IOReturn setDeviceReport(void* self, IOHIDReportType type, UInt32 reportID, void* bytes, UInt32 size, UInt32,
                         IOHIDReportCallbackFunction callback, void* target, void* refcon)
{
    return HidDevice::ofDevice(self).setReport(type, reportID, bytesOf(bytes, size), {callback, target, refcon});
}

IOReturn getDeviceReport(void* self, IOHIDReportType type, UInt32 reportID, void* bytes, UInt32* size, UInt32,
                         IOHIDReportCallbackFunction callback, void* target, void* refcon)
{
    if (size == nullptr) {
        return kIOReturnBadArgument;
    }
    return HidDevice::ofDevice(self).getReport(type, reportID, bytesOf(bytes, *size), *size,
                                               {callback, target, refcon});
}

IOReturn setInterruptHandler(void* self, void* buffer, UInt32 size, IOHIDReportCallbackFunction callback, void* target,
                             void* refcon)
{
    HidDevice::ofDevice(self).setInterruptHandler({buffer, size, callback, target, refcon});
    return kIOReturnSuccess;
}

IOReturn setRemovalHandler(void* self, IOHIDCallbackFunction callback, void* target, void* refcon)
{
    HidDevice::ofDevice(self).setRemovalHandler({callback, target, refcon});
    return kIOReturnSuccess;
}

// A queue has one face, so every ID that it knows gives the same pointer.
HRESULT queryQueue(void* self, REFIID iid, LPVOID* interface)
{
    const CFUUIDBytes known[] = {CFUUIDGetUUIDBytes(IUnknownUUID), CFUUIDGetUUIDBytes(kIOHIDQueueInterfaceID)};
    for (const CFUUIDBytes& bytes : known) {
        if (std::memcmp(&bytes, &iid, sizeof iid) == 0) {
            HidQueue::of(self).retain();
            *interface = self;
            return S_OK;
        }
    }
    *interface = nullptr;
    return E_NOINTERFACE;
}

} // namespace

const IOCFPlugInInterface kHidPlugInTable = {
    ._reserved = nullptr,
    .QueryInterface = [](void* self, REFIID iid, LPVOID* interface) -> HRESULT {
        return answerQuery(HidDevice::ofPlugIn(self), iid, interface);
    },
    .AddRef = [](void* self) -> ULONG { return HidDevice::ofPlugIn(self).retain(); },
    .Release = [](void* self) -> ULONG { return HidDevice::ofPlugIn(self).release(); },
    .version = 1,
    .revision = 0,
    // The plug-in was made for this very driver, so there is nothing to probe and nothing to start.
    .Probe = [](void*, CFDictionaryRef, io_service_t, SInt32* order) -> IOReturn {
        if (order != nullptr) {
            *order = 0;
        }
        return kIOReturnSuccess;
    },
    .Start = [](void*, CFDictionaryRef, io_service_t) -> IOReturn { return kIOReturnSuccess; },
    // Destroying the plug-in closes what was opened through it.
    .Stop = [](void* self) -> IOReturn { return HidDevice::ofPlugIn(self).close(); },
};

const IOHIDDeviceInterface122 kHidDeviceTable = {
    ._reserved = nullptr,
    .QueryInterface = [](void* self, REFIID iid, LPVOID* interface) -> HRESULT {
        return answerQuery(HidDevice::ofDevice(self), iid, interface);
    },
    .AddRef = [](void* self) -> ULONG { return HidDevice::ofDevice(self).retain(); },
    .Release = [](void* self) -> ULONG { return HidDevice::ofDevice(self).release(); },
    .createAsyncEventSource = [](void* self, CFRunLoopSourceRef* source) -> IOReturn {
        return HidDevice::ofDevice(self).createSource(source);
    },
    .getAsyncEventSource = [](void* self) -> CFRunLoopSourceRef { return HidDevice::ofDevice(self).source(); },
    .createAsyncPort = noAsyncPort,
    .getAsyncPort = nullAsyncPort,
    .open = [](void* self, IOOptionBits flags) -> IOReturn { return HidDevice::ofDevice(self).open(flags); },
    .close = [](void* self) -> IOReturn { return HidDevice::ofDevice(self).close(); },
    .setRemovalCallback = setRemovalHandler,
    .getElementValue = [](void* self, IOHIDElementCookie cookie, IOHIDEventStruct* event) -> IOReturn {
        return event == nullptr ? kIOReturnBadArgument : HidDevice::ofDevice(self).elementValue(cookie, *event);
    },
    .setElementValue = noElementRequest,
    .queryElementValue = noElementRequest,
    .startAllQueues = [](void* self) -> IOReturn { return HidDevice::ofDevice(self).forEachQueue(&HidQueue::start); },
    .stopAllQueues = [](void* self) -> IOReturn { return HidDevice::ofDevice(self).forEachQueue(&HidQueue::stop); },
    .allocQueue = [](void* self) -> IOHIDQueueInterface** { return HidQueue::create(HidDevice::ofDevice(self)); },
    .allocOutputTransaction = [](void*) -> IOHIDOutputTransactionInterface** { return nullptr; },
    .setReport = setDeviceReport,
    .getReport = getDeviceReport,
    .copyMatchingElements = [](void*, CFDictionaryRef, CFArrayRef*) -> IOReturn { return kIOReturnUnsupported; },
    .setInterruptReportHandlerCallback = setInterruptHandler,
};

const IOHIDQueueInterface kHidQueueTable = {
    ._reserved = nullptr,
    .QueryInterface = queryQueue,
    .AddRef = [](void* self) -> ULONG { return HidQueue::of(self).retain(); },
    .Release = [](void* self) -> ULONG { return HidQueue::of(self).release(); },
    .createAsyncEventSource = [](void* self, CFRunLoopSourceRef* source) -> IOReturn {
        return HidQueue::of(self).createSource(source);
    },
    .getAsyncEventSource = [](void* self) -> CFRunLoopSourceRef { return HidQueue::of(self).source(); },
    .createAsyncPort = noAsyncPort,
    .getAsyncPort = nullAsyncPort,
    .create = [](void* self, UInt32 flags, UInt32 depth) -> IOReturn {
        return HidQueue::of(self).create(flags, depth);
    },
    .dispose = [](void* self) -> IOReturn { return HidQueue::of(self).dispose(); },
    .addElement = [](void* self, IOHIDElementCookie cookie, UInt32) -> IOReturn {
        return HidQueue::of(self).addElement(cookie);
    },
    .removeElement = [](void* self, IOHIDElementCookie cookie) -> IOReturn {
        return HidQueue::of(self).removeElement(cookie);
    },
    .hasElement = [](void* self, IOHIDElementCookie cookie) -> Boolean {
        return HidQueue::of(self).hasElement(cookie);
    },
    .start = [](void* self) -> IOReturn { return HidQueue::of(self).start(); },
    .stop = [](void* self) -> IOReturn { return HidQueue::of(self).stop(); },
    .getNextEvent = [](void* self, IOHIDEventStruct* event, AbsoluteTime, UInt32) -> IOReturn {
        return event == nullptr ? kIOReturnBadArgument : HidQueue::of(self).nextEvent(*event);
    },
    .setEventCallout = [](void* self, IOHIDCallbackFunction callback, void* target, void* refcon) -> IOReturn {
        HidQueue::of(self).setCallout(callback, target, refcon);
        return kIOReturnSuccess;
    },
    .getEventCallout = [](void* self, IOHIDCallbackFunction* callback, void** target, void** refcon) -> IOReturn {
        HidQueue::of(self).getCallout(callback, target, refcon);
        return kIOReturnSuccess;
    },
};

} // namespace qrx::iokit
