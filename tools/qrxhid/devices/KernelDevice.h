#pragma once

#include "QrxRecording.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace qrxhid {

/// A recorded interface as a HID device of the kernel, made through /dev/uhid: its drivers take it like any other, and
/// every program of the machine sees it. It leaves with this object, and with the process whatever ends that.
class KernelDevice {
public:
    /// A report that a program has sent to it: 1 output, 2 feature.
    struct SentReport {
        unsigned int type;
        std::vector<std::uint8_t> bytes;
    };
    using SentReportHandler = std::function<void(const SentReport& report)>;

    /// Throws std::system_error: the node cannot be opened, or the kernel refuses a device with such a descriptor.
    KernelDevice(const QrxRecording& recording, const QrxRecordedInterface& interface, SentReportHandler handler);
    ~KernelDevice();
    KernelDevice(const KernelDevice&) = delete;
    KernelDevice& operator=(const KernelDevice&) = delete;

    static constexpr const char* kNode = "/dev/uhid";

    /// Readable when serve() has work. Belongs to this object.
    int fileDescriptor() const { return _fd; }

    /// Takes what the kernel says, without waiting, and answers: a report that is sent is taken, a request for one is
    /// refused.
    void serve();

    /// Whether a driver has taken it; input is lost before.
    bool isStarted() const { return _isStarted; }
    /// Whether a program (or the console, or a desktop) has it open.
    bool isOpen() const { return _isOpen; }

    /// An input report, its number first where reports are numbered. False if the kernel does not take it.
    bool sendInput(const std::vector<std::uint8_t>& bytes);

private:
    SentReportHandler _handler;
    int _fd;
    bool _isStarted = false;
    bool _isOpen = false;
};

} // namespace qrxhid
