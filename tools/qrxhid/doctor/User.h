#pragma once

#include <string>
#include <vector>

namespace qrxhid {

/// Somebody in whose place access is asked for.
struct User {
    unsigned int id = 0;
    /// Main group and others.
    std::vector<unsigned int> groups;

    /// Whoever runs this program.
    static User current();
    /// By name or number; a number need not have a name. Throws UsageError, in the name of `option`.
    static User find(const std::string& option, const std::string& text);

    bool isInGroup(unsigned int group) const;
    /// "alice (1000)"; "4711" without a name, as in containers.
    std::string text() const;
};

} // namespace qrxhid
