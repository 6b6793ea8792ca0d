#pragma once

#include "Base/SystemCalls.h"
#include "SysfsDirectory.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace qrx::platform {

/// The report nodes of the machine by the USB interfaces that they belong to. The links in /sys/class/hidraw name
/// interface, HID device and node of each at once, which saves listing two folders of every interface.
class ReportNodes {
public:
    struct Node {
        /// "hidraw0"
        std::string name;
        /// The inode of the link; it differs each time that the node is made.
        std::uint64_t inode = 0;
        /// "0003:046D:C52B.0001"
        std::string hidDevice;
    };

    /// Reads all links of the folder /sys/class/hidraw; a machine whose kernel has no report nodes has none. On failure
    /// the map is empty.
    SysfsDirectory::Result read(SystemCalls& calls, const std::string& path);

    /// The node of the interface "1-4.2:1.0" when the links were read; null if it had none.
    const Node* find(std::string_view interface) const;
    /// False if a link was there and could not be read: then an interface may have a node that `find` does not know.
    bool isWhole() const { return _isWhole; }

private:
    std::map<std::string, Node, std::less<>> _nodes;
    bool _isWhole = true;
};

} // namespace qrx::platform
