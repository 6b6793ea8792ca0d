#pragma once

#include "IOKitTest.h"

#include <IOKit/hid/IOHIDLib.h>

#include <array>
#include <cstdint>
#include <functional>
#include <string>

/// "01 02 ff"
std::string hexOf(const std::uint8_t* bytes, std::size_t size);

/// Reads a device in interrupt mode as an application does: opens it, puts its source into this thread's run loop, and
/// keeps the bytes of each report as a text.
class InterruptReader {
public:
    explicit InterruptReader(io_object_t driver, std::uint32_t bufferSize = 64);
    ~InterruptReader() { stop(); }

    void open();
    void close();
    /// Closes and releases everything; harmless when done before.
    void stop();
    /// The reports since the last call, each followed by "; ".
    std::string take();

    IOHIDDeviceInterface122** device = nullptr;
    CFRunLoopSourceRef source = nullptr;
    /// Called at each report, after it was noted.
    std::function<void()> onReport;
    void* sender = nullptr;
    int reports = 0;

private:
    static void reported(void* target, IOReturn result, void* refcon, void* sender, std::uint32_t size);

    std::array<std::uint8_t, 256> _buffer{};
    const std::uint32_t _bufferSize;
    std::string _text;
};

/// Reads a device through a queue of some elements; its source is the only one in the run loop.
class QueueReader {
public:
    QueueReader(io_object_t driver, const std::vector<IOHIDElementCookie>& cookies, std::uint32_t depth = 64,
                std::uint32_t flags = 0);
    ~QueueReader() { stop(); }

    /// In the order in which a connection closes: stop, source, dispose, queue, device.
    void closeAll();
    void stop();
    /// "cookie=value" or "cookie=[bytes]" of each event since the last call; "|" separates callouts.
    std::string take();
    /// Takes events until there is none; gives the last result.
    IOReturn drainEvents();

    IOHIDDeviceInterface122** device = nullptr;
    IOHIDQueueInterface** queue = nullptr;
    CFRunLoopSourceRef source = nullptr;
    std::function<void()> onCallout;
    /// Called at each event.
    std::function<void()> onEvent;
    bool drains = true;

private:
    static void calledOut(void* target, IOReturn result, void* refcon, void* sender);

    std::string _text;
};
