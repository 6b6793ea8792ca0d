#pragma once

#include "IOKitTest.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOKitLib.h>

#include <functional>
#include <string>

/// Observes devices as a device tree does: a port whose source it borrows and yet releases, and that it never destroys;
/// one iterator for arrivals and one for ends, drained at once and in each callback.
class Observer {
public:
    explicit Observer(const char* className = "IOUSBDevice");
    ~Observer() { stop(); }

    /// What the callbacks of a tree do at its end.
    void stop();

    /// "+name" and "-name" in the order in which they were handed out since the last call; "|" separates callbacks.
    std::string take();

    /// In each callback, before the iterator is drained.
    std::function<void()> onArrival;
    std::function<void()> onEnd;
    /// Called for each name with its sign.
    std::function<void(const std::string& name)> onName;

    IONotificationPortRef port = nullptr;
    CFRunLoopSourceRef source = nullptr;
    io_iterator_t arrivals = IO_OBJECT_NULL;
    io_iterator_t ends = IO_OBJECT_NULL;
    bool drains = true;

private:
    void start(const char* className);
    static void arrived(void* refcon, io_iterator_t iterator);
    static void ended(void* refcon, io_iterator_t iterator);
    void drainInto(char sign, io_iterator_t iterator);

    std::string _text;
};
