#include "Observer.h"

#include <utility>

Observer::Observer(const char* className)
{
    try {
        start(className);
    } catch (...) {
        stop();
        throw;
    }
}

void Observer::start(const char* className)
{
    port = IONotificationPortCreate(kIOMasterPortDefault);
    source = IONotificationPortGetRunLoopSource(port);
    CFRunLoopAddSource(CFRunLoopGetCurrent(), source, kCFRunLoopDefaultMode);
    EXPECT_EQ(KERN_SUCCESS, IOServiceAddMatchingNotification(port, kIOFirstMatchNotification,
                                                             IOServiceMatching(className), arrived, this, &arrivals));
    drainInto('+', arrivals);
    EXPECT_EQ(KERN_SUCCESS, IOServiceAddMatchingNotification(port, kIOTerminatedNotification,
                                                             IOServiceMatching(className), ended, this, &ends));
    drainInto('-', ends);
}

void Observer::stop()
{
    if (source != nullptr) {
        CFRunLoopSourceInvalidate(source);
        CFRelease(std::exchange(source, nullptr));
    }
    IOObjectRelease(std::exchange(arrivals, IO_OBJECT_NULL));
    IOObjectRelease(std::exchange(ends, IO_OBJECT_NULL));
}

std::string Observer::take()
{
    return std::exchange(_text, {});
}

void Observer::arrived(void* refcon, io_iterator_t iterator)
{
    auto& self = *static_cast<Observer*>(refcon);
    self._text += "|";
    if (self.onArrival) {
        self.onArrival();
    }
    if (self.drains) {
        self.drainInto('+', iterator);
    }
}

void Observer::ended(void* refcon, io_iterator_t iterator)
{
    auto& self = *static_cast<Observer*>(refcon);
    self._text += "|";
    if (self.onEnd) {
        self.onEnd();
    }
    if (self.drains) {
        self.drainInto('-', iterator);
    }
}

void Observer::drainInto(char sign, io_iterator_t iterator)
{
    while (const io_object_t device = IOIteratorNext(iterator)) {
        const std::string name = sign + nameOf(device).substr(5);
        IOObjectRelease(device);
        _text += name;
        if (onName) {
            onName(name);
        }
    }
}
