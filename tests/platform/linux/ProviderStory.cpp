#include "ProviderStory.h"

#include <algorithm>

namespace qrx::platform::test {

ProviderStory::ProviderStory()
{
    _tree.plug(composite("1-2", 2));
}

LinuxPaths ProviderStory::paths()
{
    LinuxPaths paths = _tree.paths();
    test::setWaits(paths, kSettle);
    paths.calls = &_calls;
    return paths;
}

TreeDevice ProviderStory::composite(const std::string& name, int hidraw)
{
    TreeDevice device;
    device.name = name;
    TreeInterface storage;
    storage.number = 2;
    storage.interfaceClass = 8;
    storage.driver = "usb-storage";
    device.interfaces = {hidInterface(0, hidraw), hidInterface(1, hidraw + 1), storage};
    device.interfaces[0].reportDescriptor = vendorDescriptor(8, 8, 8);
    device.interfaces[1].name = "Second";
    return device;
}

ProviderStory::Names ProviderStory::places() const
{
    Names places;
    for (const auto& [key, facts] : _sink.devices()) {
        places.push_back(facts.place);
    }
    std::sort(places.begin(), places.end());
    return places;
}

std::size_t ProviderStory::countWhole()
{
    RecordingSink all;
    LinuxPaths plain = paths();
    plain.calls = nullptr;
    makeLinuxProvider(plain)->refresh(all);
    return static_cast<std::size_t>(
        std::count_if(_sink.devices().begin(), _sink.devices().end(), [&all](const auto& entry) {
            const DeviceFacts& facts = entry.second;
            const DeviceFacts& whole = all.at(facts.place);
            const auto hasItsDescriptor = [](const InterfaceFacts& left, const InterfaceFacts& right) {
                return left.reportDescriptor == right.reportDescriptor;
            };
            return describe(facts) == describe(whole) &&
                   std::equal(facts.interfaces.begin(), facts.interfaces.end(), whole.interfaces.begin(),
                              whole.interfaces.end(), hasItsDescriptor);
        }));
}

} // namespace qrx::platform::test
