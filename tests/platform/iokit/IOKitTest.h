#pragma once

#include "FakeDevice.h"

#include <CoreFoundation/CoreFoundation.h>
#include <IOKit/IOCFPlugIn.h>
#include <IOKit/IOKitLib.h>
#include <IOKit/hid/IOHIDLib.h>

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/// Runs what is due on this thread's run loop now. Fails the test if it never comes to rest.
void runDue();

/// Runs this thread's loop until the condition holds; false after a deadline far beyond any real need.
bool runUntil(const std::function<bool()>& condition);

/// The entries that match a class, each with a reference.
std::vector<io_object_t> servicesOf(const char* className);
std::vector<io_object_t> childrenOf(io_object_t entry);
/// Vendor and product IDs in hex, separated by blanks, in the iterator's order; gives the references back.
std::string drain(io_iterator_t iterator);
std::string nameOf(io_object_t device);

/// One number property; -1 if absent.
std::int64_t numberOf(io_object_t entry, const char* key);
/// One text property; "-" if absent.
std::string textOf(io_object_t entry, const char* key);

/// A property list as text: dictionaries with sorted keys, whole numbers in decimal.
std::string print(CFTypeRef object);

/// Every test must leave the registry as it found it: no handle, no property object, no channel, no file descriptor,
/// no watching provider.
class IOKitTest : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    /// The one HID driver below the one device that is plugged; with a reference that is given back at the end.
    io_object_t driver();
    /// A device interface on the driver, to be released.
    static IOHIDDeviceInterface122** openable(io_object_t driver);

    /// At the end of the test.
    void releaseLater(io_object_t object) { _held.push_back(object); }

private:
    std::vector<io_object_t> _held;
    std::size_t _handles = 0;
    long _objects = 0;
    std::size_t _descriptors = 0;
};
