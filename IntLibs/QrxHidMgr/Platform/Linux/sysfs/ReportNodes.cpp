#include "ReportNodes.h"

#include "UsbNames.h"

#include <vector>

namespace qrx::platform {

namespace {

/// Cuts the last component off a path.
std::string_view takeLast(std::string_view& path)
{
    const std::size_t slash = path.find_last_of('/');
    const std::string_view last = path.substr(slash + 1);
    path = path.substr(0, slash == std::string_view::npos ? 0 : slash);
    return last;
}

} // namespace

SysfsDirectory::Result ReportNodes::read(SystemCalls& calls, const std::string& path)
{
    _nodes.clear();
    _isWhole = true;
    SysfsDirectory folder(calls);
    std::vector<SysfsDirectory::Entry> entries;
    SysfsDirectory::Result result = folder.open(path);
    if (result == SysfsDirectory::Result::done) {
        result = folder.list(entries);
    }
    // No such folder: the kernel was built without hidraw, or its module is not loaded.
    if (result != SysfsDirectory::Result::done) {
        return result == SysfsDirectory::Result::gone ? SysfsDirectory::Result::done : result;
    }
    for (auto& entry : entries) {
        if (!isHidrawName(entry.name)) {
            continue;
        }
        // "../../devices/pci0000:00/0000:00:14.0/usb1/1-1/1-1:1.0/0003:046D:C52B.0001/hidraw/hidraw0"
        std::string target;
        const SysfsDirectory::Result read = folder.link(entry.name, target);
        // A link that could not be read is not a missing node, see `isWhole`.
        if (read != SysfsDirectory::Result::done && read != SysfsDirectory::Result::gone) {
            _isWhole = false;
        }
        std::string_view linked = target;
        takeLast(linked);
        takeLast(linked);
        const std::string_view hidDevice = takeLast(linked);
        const std::string_view interface = takeLast(linked);
        // Nodes of other buses (Bluetooth, I2C) have other paths and are skipped here.
        if (isHIDDeviceName(hidDevice) && usbInterfaceName(interface)) {
            _nodes.try_emplace(std::string(interface),
                               Node{std::move(entry.name), entry.inode, std::string(hidDevice)});
        }
    }
    return SysfsDirectory::Result::done;
}

const ReportNodes::Node* ReportNodes::find(std::string_view interface) const
{
    const auto found = _nodes.find(interface);
    return found == _nodes.end() ? nullptr : &found->second;
}

} // namespace qrx::platform
