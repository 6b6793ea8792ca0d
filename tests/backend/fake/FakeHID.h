#pragma once

#include "FakeObjects.h"
#include "FakeRegistry.h"

#include <IOKit/IOReturn.h>
#include <IOKit/hid/IOHIDLib.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace fake {

using Bytes = std::vector<std::uint8_t>;

/// A report that the backend sent.
struct SentReport {
    std::string driver;
    unsigned int type = 0;
    unsigned int reportID = 0;
    Bytes bytes;
};

/// What a queue hands out. More than 4 bytes, or bytes with `isLong`, travel as a block.
struct FakeEvent {
    unsigned int cookie = 0;
    std::int32_t value = 0;
    Bytes block = {};
};

struct FakeHIDQueue;
struct FakeHIDDevice;

/// What a `T**` of the platform points to.
struct DeviceFace {
    const void* table;
    FakeHIDDevice* owner;
};
struct QueueFace {
    const void* table;
    FakeHIDQueue* owner;
};

/// One plug-in object on a driver: device interface and plug-in are faces of it, with one count.
struct FakeHIDDevice {
    DeviceFace device{};
    DeviceFace plugIn{};
    FakeEntry* entry = nullptr;
    int references = 1;
    bool isOpen = false;
    FakeObject* source = nullptr;
    void* buffer = nullptr;
    std::uint32_t bufferSize = 0;
    IOHIDReportCallbackFunction callback = nullptr;
    void* target = nullptr;
    std::deque<Bytes> reports;
};

struct FakeHIDQueue {
    QueueFace face{};
    FakeHIDDevice* device = nullptr;
    int references = 1;
    std::set<unsigned int> cookies;
    bool isStarted = false;
    bool isTold = false;
    FakeObject* source = nullptr;
    IOHIDCallbackFunction callout = nullptr;
    void* target = nullptr;
    std::deque<FakeEvent> events;

    /// An event that a driver adds: tells the source when it is the first.
    void push(FakeEvent event);
};

/// The HID drivers and the plug-ins on them.
class FakeHID {
public:
    /// An input report of the driver: to every open plug-in object on it, in the way that it asked for.
    void deliver(const FakeEntry& driver, const Bytes& report);
    std::vector<SentReport> sent;
    /// Runs inside setReport, after the report was recorded.
    std::function<void(const SentReport&)> onSend;
    /// What getReport answers.
    Bytes answer;
    /// The result of the calls of a device or queue that the log lets fail.
    IOReturn failure = kIOReturnError;
    /// Runs inside close, of a device that is closed by then.
    std::function<void()> onClose;

    /// The newest plug-in object or queue on the driver that lives; null if there is none.
    FakeHIDDevice* device(const FakeEntry& driver);
    FakeHIDQueue* queue(const FakeEntry& driver);
    /// The report buffer that the newest plug-in object, alive or not, was given.
    void* lastBuffer() const { return _devices.empty() ? nullptr : _devices.back()->buffer; }
    std::vector<std::string> leaks() const;

    // --- what the published functions do -----------------------------------------------------------------------

    FakeHIDDevice* makeDevice(FakeEntry* driver);
    FakeHIDQueue* makeQueue(FakeHIDDevice* device);
    void release(FakeHIDDevice* device);
    bool perform(FakeHIDDevice* device);
    bool perform(FakeHIDQueue* queue);

private:
    std::vector<std::unique_ptr<FakeHIDDevice>> _devices;
    std::vector<std::unique_ptr<FakeHIDQueue>> _queues;
};

/// The cookie of the input report element that a report belongs to, 0 if there is none.
unsigned int cookieOfReport(const FakeEntry& driver, const Bytes& report);

} // namespace fake
