#include "SysfsTree.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include <unistd.h>

namespace qrx::platform::test {

namespace fs = std::filesystem;

namespace {

std::string format(const char* pattern, unsigned value)
{
    char text[32];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

void append(std::string& bytes, std::initializer_list<unsigned> values)
{
    for (const unsigned value : values) {
        bytes.push_back(static_cast<char>(value));
    }
}

std::string interfaceDescriptors(const TreeInterface& interface)
{
    std::string bytes;
    for (int setting = 0; setting <= interface.furtherSettings; ++setting) {
        append(bytes, {9, 4, interface.number, static_cast<unsigned>(setting),
                       static_cast<unsigned>(interface.endpoints + setting), interface.interfaceClass,
                       interface.subclass, interface.protocol, interface.name.empty() ? 0U : 4U});
        if (interface.interfaceClass == 3) {
            const auto length = static_cast<unsigned>(interface.reportDescriptor.size());
            append(bytes, {9, 0x21, 0x11, 0x01, interface.country, 1, 0x22, length & 0xFF, length >> 8});
        }
        append(bytes, {7, 5, 0x81, 3, 8, 0, 10});
    }
    return bytes;
}

std::string interfaceName(const TreeDevice& device, const TreeInterface& interface)
{
    return device.name + ":" + std::to_string(device.configuration) + "." + std::to_string(interface.number);
}

} // namespace

const std::vector<std::uint8_t>& mouseDescriptor()
{
    static const std::vector<std::uint8_t> sm_Bytes = {
        0x05, 0x01, // Usage Page (Generic Desktop)
        0x09, 0x02, // Usage (Mouse)
        0xa1, 0x01, // Collection (Application)
        0x05, 0x09, //   Usage Page (Button)
        0x19, 0x01, //   Usage Minimum (1)
        0x29, 0x03, //   Usage Maximum (3)
        0x15, 0x00, //   Logical Minimum (0)
        0x25, 0x01, //   Logical Maximum (1)
        0x75, 0x01, //   Report Size (1)
        0x95, 0x03, //   Report Count (3)
        0x81, 0x02, //   Input (Data,Var,Abs)
        0x75, 0x05, //   Report Size (5)
        0x95, 0x01, //   Report Count (1)
        0x81, 0x01, //   Input (Const)
        0x05, 0x01, //   Usage Page (Generic Desktop)
        0x09, 0x30, //   Usage (X)
        0x09, 0x31, //   Usage (Y)
        0x15, 0x81, //   Logical Minimum (-127)
        0x25, 0x7f, //   Logical Maximum (127)
        0x75, 0x08, //   Report Size (8)
        0x95, 0x02, //   Report Count (2)
        0x81, 0x06, //   Input (Data,Var,Rel)
        0xc0,       // End Collection
    };
    return sm_Bytes;
}

TreeInterface hidInterface(std::uint8_t number, int hidraw)
{
    TreeInterface interface;
    interface.number = number;
    interface.hidNumber = hidraw + 1;
    interface.hidraw = hidraw;
    interface.reportDescriptor = mouseDescriptor();
    return interface;
}

std::string descriptorsOf(const TreeDevice& device)
{
    std::string bytes;
    const auto word = [&bytes](unsigned value) { append(bytes, {value & 0xFF, value >> 8}); };
    append(bytes, {18, 1, 0x00, 0x02, device.deviceClass, 0, 0, 64});
    word(device.vendor);
    word(device.product);
    word(device.release);
    append(bytes, {device.manufacturerText ? 1U : 0U, device.productText ? 2U : 0U, device.serialText ? 3U : 0U, 1});
    std::string interfaces;
    for (const TreeInterface& interface : device.interfaces) {
        interfaces += interfaceDescriptors(interface);
    }
    const auto length = static_cast<unsigned>(9 + interfaces.size());
    append(bytes, {9, 2, length & 0xFF, length >> 8, static_cast<unsigned>(device.interfaces.size()),
                   device.configuration, 0, 0xA0, 50});
    return bytes + interfaces;
}

SysfsTree::SysfsTree()
{
    // In memory where that can be had: hundreds of trees are built.
    const fs::path memory = "/dev/shm";
    const bool hasMemory = ::access(memory.c_str(), W_OK) == 0;
    std::string pattern = ((hasMemory ? memory : fs::temp_directory_path()) / "qrx-sysfs-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary folder: " + pattern);
    }
    _root = pattern;
    fs::create_directories(_root / "sys/bus/usb/devices");
    fs::create_directories(_root / "sys/class/hidraw");
    fs::create_directories(_root / "dev");
    fs::create_directories(_root / "run");
}

SysfsTree::~SysfsTree()
{
    std::error_code error;
    fs::remove_all(_root, error);
}

void setWaits(LinuxPaths& paths, std::chrono::milliseconds time)
{
    HotPlugTimes& times = paths.times;
    times.deviceWait = times.unwatchedAge = times.reread = times.rescanRetry = times.nodeAge = time;
}

LinuxPaths SysfsTree::paths() const
{
    LinuxPaths paths;
    paths.sysfs = _root / "sys";
    paths.device = _root / "dev";
    paths.run = _root / "run";
    setWaits(paths, std::chrono::seconds(1000));
    return paths;
}

fs::path SysfsTree::node(int hidraw) const
{
    return _root / "dev" / ("hidraw" + std::to_string(hidraw));
}

/// "1-2.3" lies below "1-2", which lies below the root hub.
fs::path SysfsTree::devicePath(const std::string& name) const
{
    fs::path path = _root / "sys/devices/pci0000:00/0000:00:14.0" / ("usb" + name.substr(0, name.find('-')));
    for (std::size_t dot = name.find('.'); dot != std::string::npos; dot = name.find('.', dot + 1)) {
        path /= name.substr(0, dot);
    }
    return path / name;
}

fs::path SysfsTree::interfacePath(const TreeDevice& device, const TreeInterface& interface) const
{
    return devicePath(device.name) / interfaceName(device, interface);
}

fs::path SysfsTree::hidPath(const TreeDevice& device, const TreeInterface& interface) const
{
    char name[32];
    std::snprintf(name, sizeof name, "0003:%04X:%04X.%04X", static_cast<unsigned>(device.vendor),
                  static_cast<unsigned>(device.product), static_cast<unsigned>(interface.hidNumber));
    return interfacePath(device, interface) / name;
}

std::string SysfsTree::eventPath(const fs::path& path) const
{
    return path.string().substr((_root / "sys").string().size());
}

void SysfsTree::write(const fs::path& file, std::string_view text)
{
    std::ofstream stream(file, std::ios::binary | std::ios::trunc);
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!stream) {
        throw std::runtime_error("cannot write " + file.string());
    }
}

void SysfsTree::link(const std::string& name, const fs::path& target)
{
    const fs::path at = _root / "sys/bus/usb/devices" / name;
    if (!fs::is_symlink(at)) {
        fs::create_symlink(target.lexically_relative(at.parent_path()), at);
    }
}

void SysfsTree::addRootHub(const std::string& bus)
{
    const fs::path hub = _root / "sys/devices/pci0000:00/0000:00:14.0" / ("usb" + bus);
    fs::create_directories(hub / (bus + "-0:1.0"));
    link("usb" + bus, hub);
    link(bus + "-0:1.0", hub / (bus + "-0:1.0"));
}

void SysfsTree::plug(const TreeDevice& device)
{
    addRootHub(device.name.substr(0, device.name.find('-')));
    const fs::path path = devicePath(device.name);
    fs::create_directories(path / "power");
    write(path / "descriptors", descriptorsOf(device));
    write(path / "idVendor", format("%04x\n", device.vendor));
    write(path / "idProduct", format("%04x\n", device.product));
    write(path / "bcdDevice", format("%04x\n", device.release));
    write(path / "bDeviceClass", format("%02x\n", device.deviceClass));
    write(path / "bDeviceSubClass", "00\n");
    write(path / "bDeviceProtocol", "00\n");
    write(path / "bMaxPacketSize0", "64\n");
    write(path / "bNumConfigurations", "1\n");
    write(path / "devnum", std::to_string(device.address) + "\n");
    write(path / "speed", device.speed + "\n");
    if (device.connectedMs) {
        write(path / "power/connected_duration", std::to_string(*device.connectedMs) + "\n");
    }
    if (device.manufacturerText) {
        write(path / "manufacturer", *device.manufacturerText + "\n");
    }
    if (device.productText) {
        write(path / "product", *device.productText + "\n");
    }
    if (device.serialText) {
        write(path / "serial", *device.serialText + "\n");
    }
    link(device.name, path);
    for (const TreeInterface& interface : device.interfaces) {
        addInterface(device, interface);
    }
}

void SysfsTree::addInterface(const TreeDevice& device, const TreeInterface& interface)
{
    const fs::path path = interfacePath(device, interface);
    fs::create_directories(path / "ep_81");
    write(path / "bInterfaceNumber", format("%02x\n", interface.number));
    write(path / "bInterfaceClass", format("%02x\n", interface.interfaceClass));
    write(path / "bInterfaceSubClass", format("%02x\n", interface.subclass));
    write(path / "bInterfaceProtocol", format("%02x\n", interface.protocol));
    write(path / "bNumEndpoints", format("%02x\n", interface.endpoints));
    write(path / "bAlternateSetting", format("%2d\n", static_cast<unsigned>(interface.presentSetting)));
    if (!interface.name.empty()) {
        write(path / "interface", interface.name + "\n");
    }
    link(interfaceName(device, interface), path);
    if (!interface.driver.empty()) {
        bindDriver(device, interface);
    }
    if (interface.hidNumber >= 0) {
        addHID(device, interface);
    }
    if (interface.hidraw >= 0) {
        addNode(device, interface);
    }
}

void SysfsTree::bindDriver(const TreeDevice& device, const TreeInterface& interface)
{
    const fs::path path = interfacePath(device, interface);
    fs::create_symlink((_root / "sys/bus/usb/drivers").lexically_relative(path) / interface.driver, path / "driver");
}

void SysfsTree::addHID(const TreeDevice& device, const TreeInterface& interface)
{
    const fs::path path = hidPath(device, interface);
    fs::create_directories(path);
    write(path / "country", format("%02x\n", interface.country));
    const auto& bytes = interface.reportDescriptor;
    write(path / "report_descriptor", {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

void SysfsTree::addNode(const TreeDevice& device, const TreeInterface& interface)
{
    const std::string name = "hidraw" + std::to_string(interface.hidraw);
    const fs::path at = hidPath(device, interface) / "hidraw" / name;
    const fs::path nodes = _root / "sys/class/hidraw";
    fs::create_directories(at);
    // Made beside the old one, so that it has another inode.
    fs::create_symlink(fs::relative(at, nodes), nodes / "new");
    fs::rename(nodes / "new", nodes / name);
    write(node(interface.hidraw), "");
}

void SysfsTree::removeNode(const std::string& name)
{
    fs::remove(_root / "dev" / name);
    fs::remove(_root / "sys/class/hidraw" / name);
}

void SysfsTree::removeHID(const TreeDevice& device, const TreeInterface& interface)
{
    removeNode(node(interface.hidraw).filename());
    fs::remove_all(hidPath(device, interface));
}

void SysfsTree::unplug(const std::string& device)
{
    for (const auto& entry : fs::recursive_directory_iterator(devicePath(device))) {
        const std::string name = entry.path().filename().string();
        if (name.starts_with("hidraw") && name != "hidraw") {
            removeNode(name);
        }
    }
    const fs::path bus = _root / "sys/bus/usb/devices";
    std::vector<fs::path> links;
    for (const auto& entry : fs::directory_iterator(bus)) {
        const std::string name = entry.path().filename().string();
        if (name == device || name.starts_with(device + ":") || name.starts_with(device + ".")) {
            links.push_back(entry.path());
        }
    }
    for (const fs::path& one : links) {
        fs::remove(one);
    }
    fs::remove_all(devicePath(device));
}

} // namespace qrx::platform::test
