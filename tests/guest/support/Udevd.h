#pragma once

#include <string>

namespace qrx::guest {

/// systemd-udevd in the guest, with Debian's rules and one of the test's: runs while the object lives. At most one at a
/// time.
class Udevd {
public:
    /// `rules` is the text of a rules file that is read among Debian's (60-test.rules); may be empty. Returns when
    /// every device that is there has gone through the rules. Throws std::runtime_error if the daemon does not start.
    explicit Udevd(const std::string& rules = {});
    /// Ends the daemon and removes the rule; libudev sees no udevd any more.
    ~Udevd();
    Udevd(const Udevd&) = delete;
    Udevd& operator=(const Udevd&) = delete;
};

} // namespace qrx::guest
