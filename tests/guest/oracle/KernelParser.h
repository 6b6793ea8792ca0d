#pragma once

#include "support/GuestFiles.h"

#include <cstdint>
#include <optional>
#include <string>

namespace qrx::guest {

/// What the kernel said to a descriptor.
struct KernelVerdict {
    bool accepted = false;
    /// debugfs's text if accepted.
    std::string text;
    /// What its parser logged if not.
    std::string reason;
};

/// Asks the running kernel to read report descriptors: each becomes a user-space HID device for a moment. Those with
/// reports longer than user-space devices may have (4,096 bytes) become USB devices, which takes longer.
class KernelParser {
public:
    /// Throws std::runtime_error if the kernel's log cannot be read.
    KernelParser();
    ~KernelParser();
    KernelParser(const KernelParser&) = delete;
    KernelParser& operator=(const KernelParser&) = delete;

    /// Throws std::runtime_error if the kernel comes to no verdict.
    KernelVerdict read(const Bytes& descriptor);

private:
    KernelVerdict readAsUserDevice(const Bytes& descriptor);
    KernelVerdict readAsUsbDevice(const Bytes& descriptor);
    KernelVerdict decide(const std::string& device);
    std::optional<std::string> readLogRecord();
    bool isRejected(const std::string& device);

    int _log = -1;
    unsigned _count = 0;
    /// What the parser said of the device at hand.
    std::string _parserLines;
};

} // namespace qrx::guest
