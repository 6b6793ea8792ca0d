#pragma once

#include "BackendWorld.h"
#include "QrxDeviceTree.h"
#include "RecordingDelegates.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

/// A case for every platform and both ways in which input travels.
class WorldTest : public ::testing::TestWithParam<world::InputMode> {
protected:
    using IDs = std::vector<std::pair<unsigned short, unsigned short>>;

    WorldTest() : ground(world::makeBackendWorld()), tree(QrxDeviceTree::NewInstance())
    {
        ground->setInputMode(GetParam());
        tree->setDelegate(&told);
    }

    /// The ID pair and what hangs on interfaces 0, 1, ...
    static world::DeviceDescription description(int vendorID, int productID, std::vector<world::Sample> samples);

    /// What the device delegates write; it outlives the devices that own them.
    DeviceRecord record;
    DeviceRecord otherRecord;
    std::unique_ptr<world::BackendWorld> ground;
    RecordingTreeDelegate told;
    mis::swizzler<QrxDeviceTree> tree;
};

/// The lines of a delegate as one text.
std::string joined(const std::vector<std::string>& lines);
