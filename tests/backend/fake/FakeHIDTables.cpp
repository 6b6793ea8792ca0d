#include "FakeHIDTables.h"

#include "FakePlatform.h"

#include <Carbon/Carbon.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <sstream>

using namespace fake;

namespace {

constexpr IOReturn kFailure = static_cast<IOReturn>(0xe00002bc);
constexpr IOReturn kUnderrun = static_cast<IOReturn>(0xe00002e7);

bool isSame(REFIID first, REFIID second)
{
    return std::memcmp(&first, &second, sizeof first) == 0;
}

/// Logs "driver.function(arguments)", tells of a dead object, and answers whether the call has to fail.
bool called(const FakeEntry* driver, int references, const std::string& function, const std::string& arguments)
{
    platform().log.call(driver->name + "." + function + "(" + arguments + ")");
    if (references == 0) {
        ADD_FAILURE() << function << " called on an object that was released";
    }
    return platform().log.fails(function);
}

FakeHIDDevice* deviceOf(void* self)
{
    return static_cast<DeviceFace*>(self)->owner;
}

FakeHIDQueue* queueOf(void* self)
{
    return static_cast<QueueFace*>(self)->owner;
}

bool calledDevice(void* self, const std::string& function, const std::string& arguments = "")
{
    const FakeHIDDevice* device = deviceOf(self);
    return called(device->entry, device->references, function, arguments);
}

bool calledQueue(void* self, const std::string& function, const std::string& arguments = "")
{
    const FakeHIDQueue* queue = queueOf(self);
    if (queue->device->references == 0) {
        ADD_FAILURE() << "queue " << function << " called after the end of its device interface";
    }
    return called(queue->device->entry, queue->references, "queue." + function, arguments);
}

// --- plug-in and device interface ------------------------------------------------------------------------------

HRESULT queryInterface(void* self, REFIID iid, LPVOID* interface)
{
    FakeHIDDevice* device = deviceOf(self);
    *interface = nullptr;
    const bool isPlain = isSame(iid, CFUUIDGetUUIDBytes(kIOHIDDeviceInterfaceID));
    if (calledDevice(self, "QueryInterface", isPlain ? "plain" : "other") || !isPlain) {
        return E_NOINTERFACE;
    }
    ++device->references;
    *interface = &device->device;
    return S_OK;
}

ULONG releaseDevice(void* self)
{
    FakeHIDDevice* device = deviceOf(self);
    calledDevice(self, "Release");
    platform().hid.release(device);
    return static_cast<ULONG>(device->references);
}

IOReturn createDeviceSource(void* self, CFRunLoopSourceRef* source)
{
    FakeHIDDevice* device = deviceOf(self);
    if (calledDevice(self, "createAsyncEventSource")) {
        return platform().hid.failure;
    }
    if (device->source == nullptr) {
        device->source = platform().runLoop.makeSource(device->entry->name + "-source",
                                                       [device] { return platform().hid.perform(device); });
        // The first reference is the object's own.
        ++device->source->inner;
    }
    platform().objects.retain(device->source);
    *source = reinterpret_cast<CFRunLoopSourceRef>(device->source);
    return 0;
}

IOReturn openDevice(void* self, IOOptionBits flags)
{
    if (calledDevice(self, "open", std::to_string(flags))) {
        return platform().hid.failure;
    }
    deviceOf(self)->isOpen = true;
    return 0;
}

IOReturn closeDevice(void* self)
{
    const bool fails = calledDevice(self, "close");
    const bool wasOpen = deviceOf(self)->isOpen;
    deviceOf(self)->isOpen = false;
    if (platform().hid.onClose) {
        platform().hid.onClose();
    }
    return fails || !wasOpen ? platform().hid.failure : 0;
}

IOHIDQueueInterface** allocQueue(void* self)
{
    if (calledDevice(self, "allocQueue")) {
        return nullptr;
    }
    return reinterpret_cast<IOHIDQueueInterface**>(&platform().hid.makeQueue(deviceOf(self))->face);
}

IOReturn setReport(void* self, IOHIDReportType type, UInt32 reportID, void* bytes, UInt32 size, UInt32 timeoutMs,
                   IOHIDReportCallbackFunction callback, void* target, void* refcon)
{
    const FakeHIDDevice* device = deviceOf(self);
    std::ostringstream arguments;
    arguments << "type " << static_cast<unsigned int>(type) << ", id " << reportID << ", " << size << " bytes, timeout "
              << timeoutMs;
    if (calledDevice(self, "setReport", arguments.str())) {
        return platform().hid.failure;
    }
    EXPECT_TRUE(callback == nullptr && target == nullptr && refcon == nullptr) << "a report is sent synchronously";
    const auto* start = static_cast<const std::uint8_t*>(bytes);
    const SentReport report{device->entry->name, static_cast<unsigned int>(type), reportID, Bytes(start, start + size)};
    platform().hid.sent.push_back(report);
    if (platform().hid.onSend) {
        platform().hid.onSend(report);
        EXPECT_NE(device->references, 0) << "the device interface went during its own setReport";
    }
    return 0;
}

IOReturn getReport(void* self, IOHIDReportType type, UInt32 reportID, void* bytes, UInt32* size, UInt32 timeoutMs,
                   IOHIDReportCallbackFunction callback, void* target, void* refcon)
{
    std::ostringstream arguments;
    arguments << "type " << static_cast<unsigned int>(type) << ", id " << reportID << ", " << *size
              << " bytes, timeout " << timeoutMs;
    if (calledDevice(self, "getReport", arguments.str())) {
        return platform().hid.failure;
    }
    EXPECT_TRUE(callback == nullptr && target == nullptr && refcon == nullptr) << "a report is asked for synchronously";
    const Bytes& answer = platform().hid.answer;
    std::copy_n(answer.begin(), std::min<std::size_t>(answer.size(), *size), static_cast<std::uint8_t*>(bytes));
    *size = static_cast<UInt32>(answer.size());
    return 0;
}

IOReturn setReportHandler(void* self, void* buffer, UInt32 size, IOHIDReportCallbackFunction callback, void* target,
                          void* refcon)
{
    EXPECT_EQ(refcon, nullptr);
    if (calledDevice(self, "setInterruptReportHandlerCallback", "size " + std::to_string(size))) {
        return platform().hid.failure;
    }
    FakeHIDDevice* device = deviceOf(self);
    for (std::size_t index = 0; index < size; ++index) {
        EXPECT_EQ(static_cast<const std::uint8_t*>(buffer)[index], 0) << "the buffer begins as zeros";
    }
    device->buffer = buffer;
    device->bufferSize = size;
    device->callback = callback;
    device->target = target;
    return 0;
}

// --- queue -----------------------------------------------------------------------------------------------------

ULONG releaseQueue(void* self)
{
    FakeHIDQueue* queue = queueOf(self);
    calledQueue(self, "Release");
    return static_cast<ULONG>(--queue->references);
}

IOReturn createQueueSource(void* self, CFRunLoopSourceRef* source)
{
    FakeHIDQueue* queue = queueOf(self);
    if (calledQueue(self, "createAsyncEventSource")) {
        return platform().hid.failure;
    }
    queue->source = platform().runLoop.makeSource(queue->device->entry->name + "-queue-source",
                                                  [queue] { return platform().hid.perform(queue); });
    *source = reinterpret_cast<CFRunLoopSourceRef>(queue->source);
    return 0;
}

IOReturn createQueue(void* self, UInt32 flags, UInt32 depth)
{
    return calledQueue(self, "create", std::to_string(flags) + ", " + std::to_string(depth)) ? platform().hid.failure
                                                                                             : 0;
}

IOReturn disposeQueue(void* self)
{
    queueOf(self)->isStarted = false;
    queueOf(self)->events.clear();
    return calledQueue(self, "dispose") ? platform().hid.failure : 0;
}

IOReturn addElement(void* self, IOHIDElementCookie cookie, UInt32 flags)
{
    if (calledQueue(self, "addElement", std::to_string(cookie) + ", " + std::to_string(flags))) {
        return platform().hid.failure;
    }
    queueOf(self)->cookies.insert(cookie);
    return 0;
}

IOReturn startQueue(void* self)
{
    if (calledQueue(self, "start")) {
        return platform().hid.failure;
    }
    queueOf(self)->isStarted = true;
    return 0;
}

IOReturn stopQueue(void* self)
{
    queueOf(self)->isStarted = false;
    return calledQueue(self, "stop") ? platform().hid.failure : 0;
}

IOReturn getNextEvent(void* self, IOHIDEventStruct* event, AbsoluteTime maxTime, UInt32 timeoutMs)
{
    FakeHIDQueue* queue = queueOf(self);
    EXPECT_TRUE(maxTime.lo == 0 && maxTime.hi == 0 && timeoutMs == 0);
    if (calledQueue(self, "getNextEvent")) {
        return platform().hid.failure;
    }
    if (queue->events.empty()) {
        return kUnderrun;
    }
    const FakeEvent next = queue->events.front();
    queue->events.pop_front();
    event->elementCookie = next.cookie;
    event->longValueSize = static_cast<UInt32>(next.block.size());
    event->longValue = nullptr;
    event->value = next.value;
    if (!next.block.empty()) {
        event->longValue = std::malloc(next.block.size());
        std::memcpy(event->longValue, next.block.data(), next.block.size());
    }
    return 0;
}

IOReturn setEventCallout(void* self, IOHIDCallbackFunction callback, void* target, void* refcon)
{
    EXPECT_EQ(refcon, nullptr);
    if (calledQueue(self, "setEventCallout")) {
        return platform().hid.failure;
    }
    queueOf(self)->callout = callback;
    queueOf(self)->target = target;
    return 0;
}

} // namespace

// Operations that the backend has no use for stay null: a call of one ends the test.

const IOHIDDeviceInterface122& fake::deviceTable()
{
    static const IOHIDDeviceInterface122 table = [] {
        IOHIDDeviceInterface122 functions{};
        functions.Release = &releaseDevice;
        functions.createAsyncEventSource = &createDeviceSource;
        functions.open = &openDevice;
        functions.close = &closeDevice;
        functions.allocQueue = &allocQueue;
        functions.setReport = &setReport;
        functions.getReport = &getReport;
        functions.setInterruptReportHandlerCallback = &setReportHandler;
        return functions;
    }();
    return table;
}

const IOCFPlugInInterface& fake::plugInTable()
{
    static const IOCFPlugInInterface table = [] {
        IOCFPlugInInterface functions{};
        functions.QueryInterface = &queryInterface;
        functions.Release = &releaseDevice;
        return functions;
    }();
    return table;
}

const IOHIDQueueInterface& fake::queueTable()
{
    static const IOHIDQueueInterface table = [] {
        IOHIDQueueInterface functions{};
        functions.Release = &releaseQueue;
        functions.createAsyncEventSource = &createQueueSource;
        functions.create = &createQueue;
        functions.dispose = &disposeQueue;
        functions.addElement = &addElement;
        functions.start = &startQueue;
        functions.stop = &stopQueue;
        functions.getNextEvent = &getNextEvent;
        functions.setEventCallout = &setEventCallout;
        return functions;
    }();
    return table;
}

kern_return_t IOCreatePlugInInterfaceForService(io_service_t service, CFUUIDRef pluginType, CFUUIDRef interfaceType,
                                                IOCFPlugInInterface*** interface, SInt32* score)
{
    FakeEntry* driver = platform().registry.handle(service, "IOCreatePlugInInterfaceForService")->entry;
    EXPECT_EQ(pluginType, kIOHIDDeviceUserClientTypeID);
    EXPECT_EQ(interfaceType, kIOCFPlugInInterfaceID);
    platform().log.call("IOCreatePlugInInterfaceForService(" + driver->name + ")");
    if (platform().log.fails("IOCreatePlugInInterfaceForService")) {
        return kFailure;
    }
    *interface = reinterpret_cast<IOCFPlugInInterface**>(&platform().hid.makeDevice(driver)->plugIn);
    *score = 0;
    return 0;
}

kern_return_t IODestroyPlugInInterface(IOCFPlugInInterface** interface)
{
    FakeHIDDevice* device = reinterpret_cast<DeviceFace*>(interface)->owner;
    platform().log.call("IODestroyPlugInInterface(" + device->entry->name + ")");
    platform().hid.release(device);
    return platform().log.fails("IODestroyPlugInInterface") ? kFailure : 0;
}

OSErr Gestalt(OSType selector, SInt32* response)
{
    EXPECT_EQ(selector, gestaltSystemVersion);
    platform().log.call("Gestalt");
    if (platform().log.fails("Gestalt") || platform().systemVersion == 0) {
        return gestaltUndefSelectorErr;
    }
    *response = platform().systemVersion;
    return 0;
}
