#pragma once

#include <atomic>
#include <thread>

#include <sys/types.h>

namespace qrx::guest {

/// A busy machine at its worst, while it lives: the kernel's thread that makes the files in /dev has the processor only
/// when nobody else wants it, and somebody does. The kernel shows a report node in sysfs before it asks that thread for
/// the file, so the node can be seen there for some time and not be opened.
class LateNodes {
public:
    /// Throws std::runtime_error or std::system_error where the kernel's thread cannot be found or held back.
    LateNodes();
    ~LateNodes();
    LateNodes(const LateNodes&) = delete;
    LateNodes& operator=(const LateNodes&) = delete;

private:
    const pid_t _maker;
    std::atomic<bool> _stopping = false;
    std::thread _others;
};

} // namespace qrx::guest
