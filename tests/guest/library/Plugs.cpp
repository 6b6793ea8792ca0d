#include "Plugs.h"

#include <unistd.h>

#include <algorithm>
#include <stdexcept>

namespace qrx::guest {

namespace {

bool exists(const std::string& path)
{
    return ::access(path.c_str(), F_OK) == 0;
}

} // namespace

bool isFinished(const VhciDevice& device)
{
    // The kernel links a device to its port as the last thing that it does at an arrival, after the last event.
    const std::string path = device.sysfsPath();
    return !path.empty() && exists(path + "/port");
}

void plugWhole(VhciDevice& device)
{
    device.plug();
    const bool isThere = waitUntil([&] { return isFinished(device); });
    const std::vector<std::string> nodes = device.waitForNodes();
    if (!isThere || nodes.empty() || !waitUntil([&] { return std::all_of(nodes.begin(), nodes.end(), exists); }))
        throw std::runtime_error("the kernel does not take the device");
}

void pullWhole(VhciDevice& device)
{
    const std::string path = device.sysfsPath();
    device.unplug();
    // The folder goes after the last event. Without one the kernel has not got far enough to tell anybody.
    if (!path.empty() && !waitUntil([&] { return !exists(path); }))
        throw std::runtime_error("the kernel keeps the device");
}

bool waitUntilBusIsEmpty()
{
    return waitUntil([] {
        const std::vector<std::string> names = listFolder("/sys/bus/usb/devices");
        // "usb1" is a root hub, "1-0:1.0" its interface.
        return std::all_of(names.begin(), names.end(), [](const std::string& name) {
            return name.starts_with("usb") || name.find("-0:") != std::string::npos;
        });
    });
}

bool isPolled(VhciDevice& device, std::size_t interface)
{
    return device.waitUntilTaken(interface, std::chrono::milliseconds(0));
}

void sendQueued(VhciDevice& device, std::size_t interface, const Bytes& report)
{
    device.sendInput(interface, report);
    if (!device.waitUntilTaken(interface))
        throw std::runtime_error("nobody takes the report");
}

} // namespace qrx::guest
