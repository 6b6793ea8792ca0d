#pragma once

#include "LibraryWorld.h"
#include "TestDevice.h"

/// Devices of the program's kind only, and trees that see them.
class LibraryTest : public testing::Test {
protected:
    LibraryTest();
    ~LibraryTest() override;

    /// A device of product `name` with one HID interface of that descriptor for each of `interfaceNumbers`.
    static TestDevice makeDevice(const std::string& name, const Bytes& descriptor,
                                 const std::vector<int>& interfaceNumbers = {0});

    /// A tree whose arrivals go to _treeDelegate.
    TreeHandle makeTree();
    /// A tree that has found all devices that are there.
    TreeHandle populatedTree();

    /// Runs the loop until `condition` holds; false after a deadline of some seconds.
    static bool runUntil(const std::function<bool()>& condition);
    /// Runs the loop while it has something to deliver.
    static void runWhileBusy();

    /// Sets a delegate that logs, and opens. The device deletes the delegate, if nobody replaces it before.
    static std::shared_ptr<RecordingDeviceDelegate::Log> openWithLog(const DeviceHandle& device);

    /// From now on connections take the queue mode (true) or the interrupt mode, as at the start.
    static void setQueueMode(bool queueMode);

    RecordingTreeDelegate _treeDelegate;
};
