#pragma once

#include <string>

namespace qrxhid {

/// What udevd has written down of the devices that it has treated.
class UdevDatabase {
public:
    enum class Tag {
        given,
        notGiven,
        /// udevd knows nothing of the node, or it cannot be read.
        unknown
    };

    /// `root` is what all paths begin with, empty for the machine itself.
    explicit UdevDatabase(const std::string& root) : _root(root) {}

    /// Whether the report node ("/dev/hidraw0") carries the tag "uaccess".
    Tag tagOf(const std::string& node) const;

private:
    const std::string& _root;
};

} // namespace qrxhid
