#pragma once

#include "doctor/User.h"

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

    /// Without `user` the answer is the kernel's for this process. For somebody else it is what owner, mode and access
    /// list say.
    static NodeAccess examine(const std::string& path, const std::optional<User>& user);
};

} // namespace qrxhid
