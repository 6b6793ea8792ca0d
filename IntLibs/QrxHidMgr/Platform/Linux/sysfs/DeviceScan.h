#pragma once

#include "Base/SystemCalls.h"
#include "Linux/hidraw/DeviceAccess.h"
#include "NodeReadiness.h"
#include "Provider/Provider.h"
#include "ReportNodes.h"
#include "SysfsDirectory.h"
#include "UsbDescriptors.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qrx::platform {

/// A device of the bus as folder listings show it.
struct ListedDevice {
    /// "1-4.2"
    std::string name;
    std::uint64_t inode = 0;
    /// "1-4.2:1.0"; by name.
    std::vector<std::string> interfaces;
    /// The machine's report nodes as they were when the device was listed.
    std::shared_ptr<const ReportNodes> nodes;
};

/// What tells one state of a device's HID part from another: names that the kernel gives once only, and inodes. Equal
/// outlines mean that nothing has changed.
struct InterfaceOutline {
    std::string name;
    /// False for interfaces that are not HID; only their name is known.
    bool isOfHID = false;
    bool hasDriver = false;
    /// The inode of the interface's folder; 0 where there is a report node, whose inode tells more.
    std::uint64_t inode = 0;
    /// "0003:046D:C52B.0001"; empty if there is no HID device.
    std::string hidDevice;
    /// "hidraw0"; empty if there is no report node.
    std::string node;
    std::uint64_t nodeInode = 0;

    bool operator==(const InterfaceOutline&) const = default;
};
using DeviceOutline = std::vector<InterfaceOutline>;

struct ScannedDevice {
    DeviceFacts facts;
    DeviceOutline outline;
    /// Shared by the report nodes in `facts`.
    std::shared_ptr<DeviceAccess> access;
};

/// Reads USB devices from sysfs: every attribute once, without a look at anything that could wake a device, and without
/// opening its report nodes. A device with one HID interface and three strings takes 25 system calls, and listing what
/// there is some ten more for all devices together.
///
/// Files may vanish at any step; then the device or the interface that they belong to is left out, or counts as not yet
/// complete.
class DeviceScan {
public:
    enum class Result {
        complete,
        /// Something that a HID device must come to have is missing: an interface, a driver, a report node.
        incomplete,
        notHID,
        gone,
        /// It could not be read, or not in full: no descriptor is free, or the kernel has no memory left.
        scarce,
        /// The same for another reason: an I/O error, say.
        failed
    };

    /// `sysfsRoot` is "/sys", `deviceRoot` "/dev". `nodes` must outlive this.
    DeviceScan(SystemCalls& calls, const std::string& sysfsRoot, std::string deviceRoot, NodeReadiness& nodes);

    /// All devices of the bus except root hubs, in the order of their arrival. False, with errno, if they cannot be
    /// listed; a machine without USB has none.
    bool list(std::vector<ListedDevice>& devices);
    /// One device of the bus: `complete` if it is there and could be listed, else `gone`, `scarce` or `failed`.
    Result list(const std::string& name, ListedDevice& device);

    /// All facts of a device. `scanned` holds what there is after `complete` and `incomplete`; after `failed`
    /// too, if it has its `access`.
    Result read(const ListedDevice& device, ScannedDevice& scanned);

    enum class Comparison { same, different, unknown, scarce };
    /// Whether the device still looks as it did; `unknown` if that could not be read, `scarce` if this machine had no
    /// descriptor or memory for it.
    Comparison compare(const ListedDevice& device, const DeviceOutline& known);

    /// How long the device has been connected; no value on kernels that do not tell.
    std::optional<std::chrono::milliseconds> age(const std::string& name);

private:
    struct Reading;

    void sort(std::vector<ListedDevice>& devices, const SysfsDirectory& bus);
    Result read(Reading& reading);
    static bool isOfHID(const Reading& reading);
    Result readUsbFacts(Reading& reading);
    bool readInterface(Reading& reading, const std::string& name);
    UsbDescriptors::Interface chooseSetting(Reading& reading, const std::string& name);
    void readInterfaceName(Reading& reading, const std::string& directory, std::uint8_t index, InterfaceFacts& facts);
    static bool takeNode(const ListedDevice& device, InterfaceOutline& outline);
    static SysfsDirectory::Result readFolder(const SysfsDirectory& folder, SysfsDirectory::Result result,
                                             InterfaceOutline& outline);
    void readHIDFacts(Reading& reading, const InterfaceOutline& outline, InterfaceFacts& facts);
    bool isComplete(const Reading& reading, const InterfaceOutline& outline) const;
    void readDeviceFacts(Reading& reading);
    std::optional<std::string> readString(Reading& reading, const std::string& file) const;
    bool readText(Reading& reading, const std::string& file, std::string& text,
                  std::size_t limitBytes = SysfsDirectory::kTextLimit) const;
    std::string pathOf(const std::string& name) const { return _busPath + "/" + name; }

    SystemCalls& _calls;
    const std::string _busPath;
    const std::string _nodesPath;
    const std::string _deviceRoot;
    NodeReadiness& _nodes;
    std::optional<bool> _isSysfs;
};

} // namespace qrx::platform
