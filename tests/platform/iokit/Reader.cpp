#include "Reader.h"

#include "FakeDevice.h"

#include <cstdlib>
#include <utility>

std::string hexOf(const std::uint8_t* bytes, std::size_t size)
{
    std::string text;
    for (std::size_t index = 0; index < size; ++index) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", bytes[index]);
        text += (index == 0 ? "" : " ") + std::string(digits);
    }
    return text;
}

namespace {

IOHIDDeviceInterface122** deviceOn(io_object_t driver)
{
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = 0;
    if (IOCreatePlugInInterfaceForService(driver, kIOHIDDeviceUserClientTypeID, kIOCFPlugInInterfaceID, &plugIn,
                                          &score) != KERN_SUCCESS) {
        return nullptr;
    }
    void* device = nullptr;
    (*plugIn)->QueryInterface(plugIn, CFUUIDGetUUIDBytes(kIOHIDDeviceInterfaceID), &device);
    IODestroyPlugInInterface(plugIn);
    return static_cast<IOHIDDeviceInterface122**>(device);
}

} // namespace

InterruptReader::InterruptReader(io_object_t driver, std::uint32_t bufferSize)
    : device(deviceOn(driver)), _bufferSize(bufferSize)
{
    try {
        open();
    } catch (...) {
        stop();
        throw;
    }
}

void InterruptReader::open()
{
    if ((*device)->open(device, 0) != kIOReturnSuccess) {
        return;
    }
    (*device)->createAsyncEventSource(device, &source);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    (*device)->setInterruptReportHandlerCallback(device, _buffer.data(), _bufferSize, reported, this, nullptr);
}

void InterruptReader::close()
{
    if (source != nullptr) {
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRelease(std::exchange(source, nullptr));
    }
    (*device)->close(device);
}

void InterruptReader::stop()
{
    if (device != nullptr) {
        close();
        IOHIDDeviceInterface122** last = std::exchange(device, nullptr);
        (*last)->Release(last);
    }
}

std::string InterruptReader::take()
{
    return std::exchange(_text, {});
}

void InterruptReader::reported(void* target, IOReturn result, void*, void* sender, std::uint32_t size)
{
    auto& self = *static_cast<InterruptReader*>(target);
    EXPECT_EQ(kIOReturnSuccess, result);
    self._text += hexOf(self._buffer.data(), size) + "; ";
    self.sender = sender;
    ++self.reports;
    if (self.onReport) {
        self.onReport();
    }
}

QueueReader::QueueReader(io_object_t driver, const std::vector<IOHIDElementCookie>& cookies, std::uint32_t depth,
                         std::uint32_t flags)
    : device(deviceOn(driver))
{
    EXPECT_EQ(kIOReturnSuccess, (*device)->open(device, 0));
    queue = (*device)->allocQueue(device);
    EXPECT_EQ(kIOReturnSuccess, (*queue)->create(queue, flags, depth));
    for (const IOHIDElementCookie cookie : cookies) {
        EXPECT_EQ(kIOReturnSuccess, (*queue)->addElement(queue, cookie, 0)) << cookie;
    }
    EXPECT_EQ(kIOReturnSuccess, (*queue)->createAsyncEventSource(queue, &source));
    EXPECT_EQ(kIOReturnSuccess, (*queue)->setEventCallout(queue, calledOut, this, nullptr));
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    EXPECT_EQ(kIOReturnSuccess, (*queue)->start(queue));
}

void QueueReader::closeAll()
{
    if (queue != nullptr) {
        (*queue)->stop(queue);
    }
    if (source != nullptr) {
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
        CFRelease(std::exchange(source, nullptr));
    }
    if (queue != nullptr) {
        (*queue)->dispose(queue);
        IOHIDQueueInterface** last = std::exchange(queue, nullptr);
        (*last)->Release(last);
    }
    (*device)->close(device);
}

void QueueReader::stop()
{
    if (device != nullptr) {
        closeAll();
        IOHIDDeviceInterface122** last = std::exchange(device, nullptr);
        (*last)->Release(last);
    }
}

std::string QueueReader::take()
{
    return std::exchange(_text, {});
}

IOReturn QueueReader::drainEvents()
{
    IOHIDQueueInterface** const drained = queue;
    for (;;) {
        IOHIDEventStruct event{};
        const IOReturn result = (*drained)->getNextEvent(drained, &event, {0, 0}, 0);
        if (result != kIOReturnSuccess) {
            return result;
        }
        _text += std::to_string(event.elementCookie) + "=";
        if (event.longValue != nullptr) {
            _text += "[" + hexOf(static_cast<std::uint8_t*>(event.longValue), event.longValueSize) + "]";
            std::free(event.longValue);
        } else {
            _text += std::to_string(event.value);
        }
        _text += " ";
        if (onEvent) {
            onEvent();
        }
    }
}

void QueueReader::calledOut(void* target, IOReturn result, void*, void* sender)
{
    auto& self = *static_cast<QueueReader*>(target);
    EXPECT_EQ(kIOReturnSuccess, result);
    EXPECT_EQ(static_cast<void*>(self.queue), sender);
    self._text += "|";
    if (self.onCallout) {
        self.onCallout();
    }
    if (self.drains) {
        self.drainEvents();
    }
}
