#include "BackendTest.h"

#include <algorithm>

namespace {

bool isKnownLeak(const std::string& name)
{
    return name.find(".Elements") != std::string::npos || name.find(".MaxInputReportSize") != std::string::npos;
}

} // namespace

void BackendTest::TearDown()
{
    std::sort(expectedLeaks.begin(), expectedLeaks.end());
    EXPECT_EQ(unknownLeaks(), expectedLeaks) << platform.log.text();
}

std::vector<std::string> BackendTest::unknownLeaks() const
{
    std::vector<std::string> leaks = platform.leaks();
    leaks.erase(std::remove_if(leaks.begin(), leaks.end(), isKnownLeak), leaks.end());
    return leaks;
}

std::string BackendTest::elementsRead(const std::string& entry)
{
    if (fake::kNestsOnlyInTable) {
        return "IORegistryEntryCreateCFProperties(" + entry + ")\nCFRetain(" + entry + ".Elements)\nCFRelease(" +
               entry + " properties)\n";
    }
    return "IORegistryEntryCreateCFProperty(" + entry + ", Elements)\n";
}

std::string BackendTest::elementsMissing(const std::string& entry)
{
    if (fake::kNestsOnlyInTable) {
        return "IORegistryEntryCreateCFProperties(" + entry + ")\nCFRelease(" + entry + " properties)\n";
    }
    return "IORegistryEntryCreateCFProperty(" + entry + ", Elements) -> 0\n";
}

fake::FakeEntry& BackendTest::addDevice(const std::string& name, std::vector<world::Sample> samples, int vendorID,
                                        int productID)
{
    world::DeviceDescription description;
    description.vendorID = static_cast<std::uint16_t>(vendorID);
    description.productID = static_cast<std::uint16_t>(productID);
    for (const world::Sample sample : samples) {
        world::InterfaceDescription interface;
        interface.number = static_cast<int>(description.interfaces.size());
        interface.sample = sample;
        description.interfaces.push_back(interface);
    }
    return world::addDeviceEntries(platform, name, description);
}

mis::swizzler<_QrxHIDDeviceImpl> BackendTest::deviceOf(const fake::FakeEntry& entry)
{
    mis::swizzler<_QrxHIDDeviceImpl> device(new _QrxHIDDeviceImpl);
    device->_initWithEntry(entry.handle);
    return device;
}

mis::swizzler<_QrxDeviceTreeImpl> BackendTest::newTree()
{
    return mis::swizzler<_QrxDeviceTreeImpl>(new _QrxDeviceTreeImpl);
}
