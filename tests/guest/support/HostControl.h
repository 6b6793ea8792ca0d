#pragma once

#include <string>

namespace qrx::guest {

/// The way to the host that runs this guest. One conversation at a time; not for use from several threads.
class HostControl {
public:
    /// Finds the control port that the guest's first process left open. Throws std::runtime_error outside the guest.
    HostControl();

    /// Sends one command of QEMU's machine protocol, a JSON object in one line, and returns the line of its answer: an
    /// object with "return" or "error". Throws std::runtime_error if none comes within 30 s.
    std::string qmp(const std::string& json);

private:
    std::string readLine();

    int _fd = -1;
};

} // namespace qrx::guest
