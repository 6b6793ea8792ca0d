#pragma once

#include "FakeMonitor.h"
#include "FaultyCalls.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

namespace qrx::platform::test {

/// A device that was connected a moment ago, with two HID interfaces on the nodes `hidraw` and the next.
TreeDevice composite(const std::string& name = "1-1", int hidraw = 0);
/// The same device before any driver has come.
TreeDevice withoutDrivers(TreeDevice device);

/// A provider on a made-up machine, whose events the case tells, and whoever observes it.
class HotPlugTest : public testing::Test {
protected:
    static constexpr std::chrono::milliseconds kSettle{1000};

    LinuxPaths paths();
    /// What is told when observation begins.
    std::string started();
    /// What is told when whoever observes looks at the descriptor and handles events as long as it is readable.
    std::string handled();
    /// As handled, when so much time has passed, whether the descriptor is readable or not.
    std::string handledAfter(std::chrono::milliseconds time);

    /// The kernel's event about a device ("add usb_device") or about a part of its interface `number` ("bind hid").
    void tell(const std::string& what, const TreeDevice& device);
    void tell(const std::string& what, const TreeDevice& device, std::size_t number);
    /// The events of a device whose drivers were there before.
    void tellArrival(const TreeDevice& device);
    void tellRemoval(const TreeDevice& device);

    SysfsTree tree;
    FaultyCalls calls;
    EventSource events;
    RecordingSink sink;
    std::unique_ptr<Provider> provider = makeLinuxProvider(paths());
    int descriptor = -1;
};

} // namespace qrx::platform::test
