#pragma once

#include "Linux/LinuxProvider.h"

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qrx::platform::test {

/// The same patience with everything that the provider waits for.
void setWaits(LinuxPaths& paths, std::chrono::milliseconds time);

/// An interface of a device in a SysfsTree.
struct TreeInterface {
    std::uint8_t number = 0;
    std::uint8_t interfaceClass = 3;
    std::uint8_t subclass = 0;
    std::uint8_t protocol = 0;
    std::uint8_t endpoints = 1;
    /// Alternate settings besides 0 that the descriptors list, each with one endpoint more.
    int furtherSettings = 0;
    int presentSetting = 0;
    std::string name;
    std::uint8_t country = 0;
    /// Empty: no driver.
    std::string driver = "usbhid";
    /// The running number of the HID device; -1: there is none.
    int hidNumber = -1;
    /// The number of the report node; -1: there is none.
    int hidraw = -1;
    std::vector<std::uint8_t> reportDescriptor;
};

/// A device of a SysfsTree, by default with the strings, ids and speed of a plain mouse.
struct TreeDevice {
    std::string name = "1-1";
    std::uint16_t vendor = 0x1234;
    std::uint16_t product = 0xabcd;
    std::uint16_t release = 0x0102;
    std::uint8_t deviceClass = 0;
    std::uint8_t configuration = 1;
    std::optional<std::string> manufacturerText = "Qrx";
    std::optional<std::string> productText = "Mouse";
    std::optional<std::string> serialText = "S1";
    std::string speed = "12";
    int address = 5;
    /// Milliseconds in power/connected_duration; no value: no such file.
    std::optional<int> connectedMs = 60000;
    std::vector<TreeInterface> interfaces;
};

/// The smallest descriptor of a mouse: three buttons, X and Y; 3 bytes, unnumbered.
const std::vector<std::uint8_t>& mouseDescriptor();

/// A HID interface with everything in its place: driver, HID device and report node `hidraw`.
TreeInterface hidInterface(std::uint8_t number, int hidraw);

/// A temporary folder with the parts of /sys, /dev and /run that belong to USB HID devices, and the changes that the
/// kernel makes there. Nothing tells of a change; that is the test's part.
class SysfsTree {
public:
    SysfsTree();
    ~SysfsTree();
    SysfsTree(const SysfsTree&) = delete;
    SysfsTree& operator=(const SysfsTree&) = delete;

    /// Roots in this tree, with a settle time that no test waits for.
    LinuxPaths paths() const;
    std::filesystem::path root() const { return _root; }
    std::filesystem::path node(int hidraw) const;

    void plug(const TreeDevice& device);
    void unplug(const std::string& device);
    /// Below a device that is there.
    void addInterface(const TreeDevice& device, const TreeInterface& interface);
    void bindDriver(const TreeDevice& device, const TreeInterface& interface);
    void addHID(const TreeDevice& device, const TreeInterface& interface);
    void addNode(const TreeDevice& device, const TreeInterface& interface);
    void removeHID(const TreeDevice& device, const TreeInterface& interface);

    std::filesystem::path devicePath(const std::string& name) const;
    std::filesystem::path interfacePath(const TreeDevice& device, const TreeInterface& interface) const;
    std::filesystem::path hidPath(const TreeDevice& device, const TreeInterface& interface) const;
    /// As an event names it: without the root of sysfs.
    std::string eventPath(const std::filesystem::path& path) const;

    static void write(const std::filesystem::path& file, std::string_view text);

private:
    void addRootHub(const std::string& bus);
    void removeNode(const std::string& name);
    void link(const std::string& name, const std::filesystem::path& target);

    std::filesystem::path _root;
};

/// The bytes of the file `descriptors`.
std::string descriptorsOf(const TreeDevice& device);

} // namespace qrx::platform::test
