#pragma once

#include <optional>
#include <string>

namespace qrxhid {

/// What somebody may do with a report node. The node is not opened.
struct NodeAccess {
    enum class Kind {
        readWrite,
        readOnly,
        denied,
        /// There is no such file.
        missing
    };

    Kind kind = Kind::denied;
    /// Mode, owner and group of the node, and who is asking: "mode 0600, owner root, group root; you are alice (1000)".
    std::string explanation;

    /// Without `userID` the answer is the kernel's for this process, access lists and groups included. With it, owner
    /// and mode alone decide, as for somebody who is in no group.
    static NodeAccess examine(const std::string& path, std::optional<unsigned int> userID);
};

} // namespace qrxhid
