#include "Plugs.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <stdexcept>

namespace qrx::guest {

namespace {

namespace fs = std::filesystem;

constexpr const char* kUsbDevices = "/sys/bus/usb/devices/";

bool exists(const std::string& path)
{
    return ::access(path.c_str(), F_OK) == 0;
}

/// Whether there is the folder of a device at a root hub, which goes after the last event of the device.
bool hasDevices(const std::string& rootHub)
{
    const std::vector<std::string> names = listFolder(kUsbDevices + rootHub);
    // "1-2" is a device, "1-0:1.0" the hub's interface.
    return std::any_of(names.begin(), names.end(), [](const std::string& name) {
        return std::isdigit(static_cast<unsigned char>(name.front())) != 0 && name.find(':') == std::string::npos;
    });
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
    if (!isThere || device.waitForNodes().empty())
        throw std::runtime_error("the kernel does not take the device");
}

void pullWhole(VhciDevice& device)
{
    // The device's own folder goes after the last event; the link to it among the bus's devices goes before. Without
    // one the kernel has not got far enough to tell anybody.
    std::error_code error;
    const std::string path = fs::canonical(device.sysfsPath(), error);
    device.unplug();
    if (!path.empty() && !waitUntil([&] { return !exists(path); }))
        throw std::runtime_error("the kernel keeps the device");
}

bool waitUntilBusIsEmpty()
{
    return waitUntil([] {
        const std::vector<std::string> names = listFolder(kUsbDevices);
        return std::none_of(names.begin(), names.end(),
                            [](const std::string& name) { return name.starts_with("usb") && hasDevices(name); });
    });
}

bool isPolled(VhciDevice& device, std::size_t interface)
{
    return device.waitUntilTaken(interface, std::chrono::milliseconds(0));
}

bool hasOpen(const VhciDevice& device, std::size_t interface)
{
    const fs::path folder = device.sysfsPath();
    if (folder.empty())
        return false;
    const std::string name = folder.filename().string() + ":1." + std::to_string(interface);
    const std::vector<std::string> nodes = hidrawNodesOfInterface(folder / name);
    const std::vector<std::string> descriptors = listFolder("/proc/self/fd");
    return std::any_of(descriptors.begin(), descriptors.end(), [&](const std::string& descriptor) {
        std::error_code error; // that of the listing itself is closed by now
        const fs::path file = fs::read_symlink("/proc/self/fd/" + descriptor, error);
        return std::find(nodes.begin(), nodes.end(), file) != nodes.end();
    });
}

void sendQueued(VhciDevice& device, std::size_t interface, const Bytes& report)
{
    device.sendInput(interface, report);
    if (!device.waitUntilTaken(interface))
        throw std::runtime_error("nobody takes the report");
}

} // namespace qrx::guest
