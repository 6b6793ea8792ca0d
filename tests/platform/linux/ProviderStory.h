#pragma once

#include "FakeNodes.h"
#include "FaultSweep.h"
#include "RecordingSink.h"
#include "SysfsTree.h"

#include <map>
#include <string>
#include <vector>

namespace qrx::platform::test {

/// A story on a machine of its own with the device 1-2, for a provider that goes through `calls`.
class ProviderStory : public Story {
public:
    using Names = std::vector<std::string>;
    static constexpr std::chrono::milliseconds kSettle{1000};

    FaultyCalls& calls() override { return _calls; }

protected:
    ProviderStory();

    LinuxPaths paths();
    /// Connected for longer than the settle time, with two HID interfaces on nodes `hidraw` and the next, and another
    /// one.
    static TreeDevice composite(const std::string& name, int hidraw);

    /// The devices that the registry shows now, sorted.
    Names places() const;
    /// How many of them are shown with everything that a provider finds whose calls do not fail.
    std::size_t countWhole();

    SysfsTree _tree;
    FakeNodes _nodes{(_tree.root() / "dev").string()};
    FaultyCalls _calls{_nodes};
    RecordingSink _sink;
};

} // namespace qrx::platform::test
