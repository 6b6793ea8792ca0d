#pragma once

#include "LibraryWorld.h"
#include "Plugs.h"
#include "rig_tests/Descriptors.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qrx::guest {

/// A HID interface of that report descriptor, with endpoints for both directions.
UsbInterface hidInterface(Bytes descriptor, std::uint16_t maximumPacket = 64);
/// A device named `product` with these interfaces; `number` tells devices of one test apart.
UsbIdentity identityOf(const std::string& product, std::uint16_t number = 1);

/// Runs this thread's loop until `condition` holds; false if it did not within the rig's patience.
bool runUntil(const std::function<bool()>& condition);
/// Runs this thread's loop while it has something to deliver.
void runWhileBusy();

/// The library in an application of one thread: a tree that observes everything there is, and what it tells.
class Library : public testing::Test {
protected:
    Library();
    /// Waits until the kernel has taken away what the test had plugged.
    ~Library() override;

    TreeHandle makeTree();
    /// A tree that observes everything.
    TreeHandle observingTree();
    /// Sets a delegate that logs, and opens.
    static std::shared_ptr<RecordingDeviceDelegate::Log> openWithLog(const DeviceHandle& device);
    /// Plugs the device and runs the loop until the tree has it. The handle is empty if it did not come.
    DeviceHandle arrive(const TreeHandle& tree, VhciDevice& device);

    RecordingTreeDelegate told;
};

/// Product names of arrivals.
using Names = std::vector<std::string>;

} // namespace qrx::guest
