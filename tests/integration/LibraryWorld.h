#pragma once

#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>
#include <QrxRunLoop.h>
#include <QrxVirtualDevice.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;
using DeviceHandle = mis::swizzler<QrxHIDDevice>;
using TreeHandle = mis::swizzler<QrxDeviceTree>;

/// An input report as a delegate got it.
struct ReceivedReport {
    Bytes bytes;
    int interfaceNumber;
    bool operator==(const ReceivedReport&) const = default;
};
void PrintTo(const ReceivedReport& report, std::ostream* stream);

/// Keeps what a device's delegate is told, and does what a test wants done in the middle of it. The log and the hooks
/// are shared, since the device deletes its delegate.
class RecordingDeviceDelegate final : public QrxHIDDeviceDelegateInterface {
public:
    struct Log {
        std::vector<ReceivedReport> input;
        std::vector<ReceivedReport> sent;
        /// Called after the log has its entry; may destroy the delegate.
        std::function<void()> onInput;
        std::function<void()> onSent;
        /// The one that writes this log, while it lives.
        RecordingDeviceDelegate* delegate = nullptr;
    };

    explicit RecordingDeviceDelegate(std::shared_ptr<Log> log) : _log(std::move(log)) { _log->delegate = this; }
    ~RecordingDeviceDelegate() override { _log->delegate = nullptr; }
    void handleReport(std::valarray<uint8_t> report, DeviceHandle device, int interfaceNumber) override;
    void handleSetReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                         DeviceHandle device, int interfaceNumber) override;

private:
    std::shared_ptr<Log> _log;
};

/// Keeps the product names of arrivals and does what a test wants done.
class RecordingTreeDelegate final : public QrxDeviceTreeDelegateInterface {
public:
    void deviceAdded(DeviceHandle device) override;

    std::vector<std::string> arrivals;
    std::function<void(const DeviceHandle&)> onArrival;
};

/// What the library writes to standard output while this lives.
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    std::string text() const { return _text.str(); }
    void forget() { _text.str({}); }

private:
    std::ostringstream _text;
    std::streambuf* _previous;
};

/// 4 byte unnumbered input reports, with an output and a feature report of 2 bytes.
Bytes plainDescriptor();
/// Input reports 1 (3 bytes with the number) and 2 (9 bytes), output report 3 (4 bytes), feature report 4 (6 bytes).
Bytes numberedDescriptor();
/// One unnumbered vendor input report of that many bytes.
Bytes vendorDescriptor(std::size_t bytes);
