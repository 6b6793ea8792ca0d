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

SysfsDirectory::Result ReportNodes::read()
{
    _nodes.clear();
    _isWhole = true;
    SysfsDirectory folder(_calls);
    std::vector<SysfsDirectory::Entry> entries;
    SysfsDirectory::Result result = folder.open(_path);
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
        const SysfsDirectory::Result linked = folder.link(entry.name, target);
        // An unread link is not a missing node: who finds none asks `isWhole`.
        if (linked != SysfsDirectory::Result::done && linked != SysfsDirectory::Result::gone) {
            _isWhole = false;
        }
        std::string_view path = target;
        takeLast(path);
        takeLast(path);
        const std::string_view hidDevice = takeLast(path);
        const std::string_view interface = takeLast(path);
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
