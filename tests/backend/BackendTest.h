#pragma once

#include "FakeWorld.h"
#include "QrxDeviceTreeImpl.h"
#include "QrxHIDDeviceImpl.h"
#include "RecordingDelegates.h"
#include "fake/FakePlatform.h"
#include "fake/PlatformForm.h"

#include <IOKit/usb/IOUSBLib.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

using IDs = std::vector<std::pair<unsigned short, unsigned short>>;

/// Every device.
inline const IDs kAnything = {{0, 0}};

/// A test on the scripted platform. At its end every reference must be given back, except those that the backend is
/// known to keep: the "Elements" of each driver, the number that sizes the report buffer.
class BackendTest : public ::testing::Test {
protected:
    void TearDown() override;

    /// "usb1" with these samples on interfaces 0, 1, ...
    fake::FakeEntry& addDevice(const std::string& name, std::vector<world::Sample> samples, int vendorID = 0x1234,
                               int productID = 0x5678);
    /// A device object of an entry, not in any tree.
    mis::swizzler<_QrxHIDDeviceImpl> deviceOf(const fake::FakeEntry& entry);
    mis::swizzler<_QrxDeviceTreeImpl> newTree();
    fake::FakeEntry& entry(const std::string& name) { return platform.registry.entry(name); }
    /// The calls that read the "Elements" of an entry, one a line, in this form of the platform.
    static std::string elementsRead(const std::string& entry);
    /// The same for an entry that has none.
    static std::string elementsMissing(const std::string& entry);
    /// The leaks without those that are known.
    std::vector<std::string> unknownLeaks() const;

    fake::FakePlatform platform;
    /// Leaks that this test expects besides.
    std::vector<std::string> expectedLeaks;
};
