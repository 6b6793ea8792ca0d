#pragma once

#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxHIDDevice.h"
#include "QrxHIDDeviceDelegateInterface.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// "01 ff".
std::string hexText(const std::valarray<uint8_t>& bytes);
std::valarray<uint8_t> bytesOf(const std::vector<uint8_t>& bytes);

/// Writes what is told as lines, then does what the test says.
class RecordingTreeDelegate : public QrxDeviceTreeDelegateInterface {
public:
    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override;

    std::vector<std::string> lines;
    std::function<void(const mis::swizzler<QrxHIDDevice>&)> onAdded;
};

/// What a device delegate was told: "input 0: 01 02", "set 1 2 0: ff" (type, report ID, interface), "deleted". Lives as
/// long as the test, whatever becomes of the delegate.
struct DeviceRecord {
    std::vector<std::string> lines;
    std::function<void()> onReport;
    std::function<void()> onSetReport;
};

/// The delegate itself belongs to the device that it is set on.
class RecordingDeviceDelegate : public QrxHIDDeviceDelegateInterface {
public:
    explicit RecordingDeviceDelegate(DeviceRecord& record) : _record(record) {}
    RecordingDeviceDelegate(const RecordingDeviceDelegate&) = delete;
    RecordingDeviceDelegate& operator=(const RecordingDeviceDelegate&) = delete;
    ~RecordingDeviceDelegate() override { _record.lines.push_back("deleted"); }

    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;
    void handleSetReport(unsigned int type, unsigned int reportID, std::valarray<uint8_t> report,
                         mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override;

private:
    DeviceRecord& _record;
};
