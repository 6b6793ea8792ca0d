#include "HotPlugTest.h"

#include <poll.h>

namespace qrx::platform::test {

TreeDevice composite(const std::string& name, int hidraw)
{
    TreeDevice device;
    device.name = name;
    device.connectedMs = 0;
    device.interfaces = {hidInterface(0, hidraw), hidInterface(1, hidraw + 1)};
    return device;
}

TreeDevice withoutDrivers(TreeDevice device)
{
    for (TreeInterface& interface : device.interfaces) {
        interface.driver.clear();
        interface.hidNumber = interface.hidraw = -1;
    }
    return device;
}

LinuxPaths HotPlugTest::paths()
{
    LinuxPaths paths = tree.paths();
    test::setWaits(paths, kSettle);
    paths.calls = &calls;
    paths.monitors = events.factory();
    return paths;
}

std::string HotPlugTest::started()
{
    descriptor = provider->startWatching(sink);
    return sink.takeLog();
}

std::string HotPlugTest::handled()
{
    pollfd poll{descriptor, POLLIN, 0};
    for (int turns = 0; ::poll(&poll, 1, 0) > 0; ++turns) {
        if (turns == 100) {
            return "still readable after " + std::to_string(turns) + " turns";
        }
        provider->handleEvents(sink);
    }
    return sink.takeLog();
}

std::string HotPlugTest::handledAfter(std::chrono::milliseconds time)
{
    calls.advance(time);
    provider->handleEvents(sink);
    return sink.takeLog();
}

void HotPlugTest::tell(const std::string& what, const TreeDevice& device)
{
    events.tell(what, tree.eventPath(tree.devicePath(device.name)));
}

void HotPlugTest::tell(const std::string& what, const TreeDevice& device, std::size_t number)
{
    const TreeInterface& interface = device.interfaces[number];
    auto path = what.ends_with("interface") ? tree.interfacePath(device, interface) : tree.hidPath(device, interface);
    if (what.ends_with("hidraw")) {
        path = path / "hidraw" / ("hidraw" + std::to_string(interface.hidraw));
    }
    events.tell(what, tree.eventPath(path));
}

void HotPlugTest::tellArrival(const TreeDevice& device)
{
    tell("add usb_device", device);
    for (std::size_t number = 0; number < device.interfaces.size(); ++number) {
        for (const char* what : {"add usb_interface", "add hid", "add hidraw", "bind hid", "bind usb_interface"}) {
            tell(what, device, number);
        }
    }
    tell("bind usb_device", device);
}

void HotPlugTest::tellRemoval(const TreeDevice& device)
{
    for (std::size_t number = 0; number < device.interfaces.size(); ++number) {
        for (const char* what :
             {"remove hidraw", "unbind hid", "remove hid", "unbind usb_interface", "remove usb_interface"}) {
            tell(what, device, number);
        }
    }
    tell("unbind usb_device", device);
    tell("remove usb_device", device);
}

} // namespace qrx::platform::test
