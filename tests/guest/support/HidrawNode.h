#pragma once

#include "support/GuestFiles.h"

#include <chrono>
#include <optional>
#include <string>
#include <utility>

namespace qrx::guest {

/// One open report node, used raw: what the kernel answers, without any library between. The results are the system
/// call's own: a count of bytes, or the errno value as a negative number.
class HidrawNode {
public:
    /// Opens for reading and writing, non-blocking. The kernel hands on what arrives from then on: the HID core drops
    /// input until the driver has taken the device over, for which the constructor waits, and the USB HID driver for
    /// 50 ms at the first open, which returns after them. Throws std::system_error if it cannot be opened.
    explicit HidrawNode(const std::string& path);
    ~HidrawNode();
    HidrawNode(const HidrawNode&) = delete;
    HidrawNode& operator=(const HidrawNode&) = delete;

    /// The next report; waits for it. Without one in time -EAGAIN, after the unplug and the last report -EIO.
    std::pair<int, Bytes> read(std::chrono::milliseconds limit = std::chrono::seconds(10));
    /// The next report, which must come: empty if none came.
    Bytes readReport() { return read().second; }

    int write(const Bytes& report);
    int setFeature(const Bytes& report);
    int setOutput(const Bytes& report);
    int setInput(const Bytes& report);
    /// `length` bytes are asked for, the report's number included, which goes into the first byte.
    std::pair<int, Bytes> getFeature(std::uint8_t reportID, std::size_t length);
    std::pair<int, Bytes> getInput(std::uint8_t reportID, std::size_t length);
    std::pair<int, Bytes> getOutput(std::uint8_t reportID, std::size_t length);

    /// HIDIOCGRAWNAME, without the final zero.
    std::string name() const;
    /// HIDIOCGRDESC.
    Bytes reportDescriptor() const;
    int fd() const { return _fd; }

private:
    int set(unsigned long request, const Bytes& report);
    std::pair<int, Bytes> get(unsigned long request, std::uint8_t reportID, std::size_t length);

    int _fd = -1;
};

} // namespace qrx::guest
