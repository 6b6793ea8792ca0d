#pragma once

/// What the kernel shows of itself in files: sysfs, debugfs, the kernel's log.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrx::guest {

using Bytes = std::vector<std::uint8_t>;

/// The whole contents, zero bytes included; none if the file is not there or cannot be read.
std::optional<std::string> readFile(const std::string& path);

/// The contents without one final newline, as attributes of sysfs are written; none if there is no such file.
std::optional<std::string> readAttribute(const std::string& path);

/// Writes in one call, as sysfs wants it; an ordinary file is made or replaced. Returns 0 or the errno value.
int writeFile(const std::string& path, const std::string& text);

/// Names in a folder, sorted; empty if there is none.
std::vector<std::string> listFolder(const std::string& path);

/// Folders in /sys/bus/usb/devices of the USB devices with these ids, by name.
std::vector<std::string> findUsbDevices(std::uint16_t vendor, std::uint16_t product);

/// The report node ("/dev/hidraw3") of a HID device in sysfs; empty while it has none. The kernel shows a node in sysfs
/// first and then makes its file in /dev, in a thread of its own: a node is there when both are.
std::string hidrawNodeBelow(const std::string& hidDevice);

/// The report nodes that are there of an interface of a USB device, by its folder in sysfs.
std::vector<std::string> hidrawNodesOfInterface(const std::string& interface);

/// Waits until the driver of a HID device in sysfs has taken it over. Its nodes are there before, while the HID core
/// still drops input; what debugfs tells of the device is read under the same lock. Throws std::runtime_error if it
/// tells nothing, std::filesystem::filesystem_error without such a device.
void waitForDriver(const std::string& hidDevice);

/// The report nodes that are there of all interfaces of a USB device, by interface number.
std::vector<std::string> hidrawNodesOf(const std::string& usbDevice);

/// Waits until a USB device with these ids has `nodes` report nodes. Returns the nodes; empty if that did not happen.
std::vector<std::string> waitForHidrawNodes(std::uint16_t vendor, std::uint16_t product, std::size_t nodes);

/// Waits until there is no USB device with these ids. Returns false if that did not happen.
bool waitUntilGone(std::uint16_t vendor, std::uint16_t product);

/// Runs a program of the guest, found by name, and waits for its end. Throws std::runtime_error if that is not status
/// 0, and outside the guest.
void runProgram(std::vector<std::string> words);

/// Loads a kernel module with modprobe. Throws std::runtime_error if that fails.
void loadModule(const std::string& module, const std::string& parameter = {});

/// Pairs of hex digits, separated by blanks.
std::string hex(const Bytes& bytes);

} // namespace qrx::guest
