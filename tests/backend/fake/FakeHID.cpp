#include "FakeHID.h"

#include "FakeHIDTables.h"
#include "FakePlatform.h"

#include <algorithm>
#include <cstring>

namespace fake {

void FakeHIDQueue::push(FakeEvent event)
{
    isTold = isTold || events.empty();
    events.push_back(std::move(event));
}

unsigned int cookieOfReport(const FakeEntry& driver, const Bytes& report)
{
    const auto found = driver.properties.find("InputReportElements");
    const List* elements = found == driver.properties.end() ? nullptr : found->second.as<List>();
    if (elements == nullptr) {
        return 0;
    }
    bool isNumbered = false;
    for (const Value& element : *elements) {
        isNumbered = isNumbered || *element.as<Dict>()->at("ReportID").as<std::int64_t>() != 0;
    }
    const std::int64_t reportID = isNumbered ? report.at(0) : 0;
    for (const Value& element : *elements) {
        if (*element.as<Dict>()->at("ReportID").as<std::int64_t>() == reportID) {
            return static_cast<unsigned int>(*element.as<Dict>()->at("ElementCookie").as<std::int64_t>());
        }
    }
    return 0;
}

void FakeHID::deliver(const FakeEntry& driver, const Bytes& report)
{
    for (const auto& device : _devices) {
        if (device->references != 0 && device->entry == &driver && device->isOpen && device->callback != nullptr) {
            device->reports.push_back(report);
        }
    }
    const unsigned int cookie = cookieOfReport(driver, report);
    for (const auto& queue : _queues) {
        const bool isListening = queue->references != 0 && queue->isStarted && queue->device->references != 0 &&
                                 queue->device->isOpen && queue->device->entry == &driver;
        if (!isListening || queue->cookies.count(cookie) == 0) {
            continue;
        }
        FakeEvent event;
        event.cookie = cookie;
        if (report.size() > 4) {
            event.block = report;
        } else {
            std::memcpy(&event.value, report.data(), report.size());
        }
        queue->push(event);
    }
}

FakeHIDDevice* FakeHID::device(const FakeEntry& driver)
{
    FakeHIDDevice* newest = nullptr;
    for (const auto& device : _devices) {
        newest = device->references != 0 && device->entry == &driver ? device.get() : newest;
    }
    return newest;
}

FakeHIDQueue* FakeHID::queue(const FakeEntry& driver)
{
    FakeHIDQueue* newest = nullptr;
    for (const auto& queue : _queues) {
        newest = queue->references != 0 && queue->device->entry == &driver ? queue.get() : newest;
    }
    return newest;
}

std::vector<std::string> FakeHID::leaks() const
{
    std::vector<std::string> names;
    for (const auto& device : _devices) {
        if (device->references != 0) {
            names.push_back(device->entry->name + " device interface x" + std::to_string(device->references));
        }
    }
    for (const auto& queue : _queues) {
        if (queue->references != 0) {
            names.push_back(queue->device->entry->name + " queue x" + std::to_string(queue->references));
        }
    }
    return names;
}

FakeHIDDevice* FakeHID::makeDevice(FakeEntry* driver)
{
    _devices.push_back(std::make_unique<FakeHIDDevice>());
    FakeHIDDevice* device = _devices.back().get();
    device->device = {&deviceTable(), device};
    device->plugIn = {&plugInTable(), device};
    device->entry = driver;
    return device;
}

FakeHIDQueue* FakeHID::makeQueue(FakeHIDDevice* device)
{
    _queues.push_back(std::make_unique<FakeHIDQueue>());
    FakeHIDQueue* queue = _queues.back().get();
    queue->face = {&queueTable(), queue};
    queue->device = device;
    return queue;
}

void FakeHID::release(FakeHIDDevice* device)
{
    if (--device->references != 0) {
        return;
    }
    // The end of the last interface silences its sources and its queues' sources.
    device->isOpen = false;
    if (device->source != nullptr) {
        platform().runLoop.invalidate(device->source);
        platform().objects.releaseInside(device->source);
    }
    for (const auto& queue : _queues) {
        if (queue->device == device && queue->source != nullptr) {
            platform().runLoop.invalidate(queue->source);
        }
    }
}

bool FakeHID::perform(FakeHIDDevice* device)
{
    if (device->references == 0 || !device->isOpen || device->reports.empty()) {
        return false;
    }
    const Bytes report = device->reports.front();
    device->reports.pop_front();
    const std::size_t size = std::min<std::size_t>(report.size(), device->bufferSize);
    if (size != 0) {
        std::memcpy(device->buffer, report.data(), size);
    }
    device->callback(device->target, 0, nullptr, &device->device, static_cast<std::uint32_t>(size));
    return true;
}

bool FakeHID::perform(FakeHIDQueue* queue)
{
    if (queue->references == 0 || !queue->isTold || queue->callout == nullptr) {
        return false;
    }
    queue->isTold = false;
    queue->callout(queue->target, 0, nullptr, &queue->face);
    return true;
}

} // namespace fake
