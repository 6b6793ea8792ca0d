#include "RecordingDelegates.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

std::string hexText(const std::valarray<uint8_t>& bytes)
{
    std::string text;
    for (const uint8_t byte : bytes) {
        char digits[4];
        std::snprintf(digits, sizeof digits, "%02x", byte);
        text += (text.empty() ? "" : " ") + std::string(digits);
    }
    return text;
}

std::valarray<uint8_t> bytesOf(const std::vector<uint8_t>& bytes)
{
    std::valarray<uint8_t> result(bytes.size());
    std::copy(bytes.begin(), bytes.end(), std::begin(result));
    return result;
}

void RecordingTreeDelegate::deviceAdded(mis::swizzler<QrxHIDDevice> device)
{
    char ids[16];
    std::snprintf(ids, sizeof ids, "%04x:%04x", device->getVendorID(), device->getProductID());
    lines.push_back(ids);
    if (onAdded) {
        // A copy: what is done may replace this.
        const auto action = onAdded;
        action(device);
    }
}

void RecordingDeviceDelegate::handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device,
                                           int interfaceNumber)
{
    EXPECT_TRUE(device) << "the delegate gets a handle on its device";
    DeviceRecord& record = _record;
    record.lines.push_back("input " + std::to_string(interfaceNumber) + ": " + hexText(report));
    device.release();
    if (record.onReport) {
        const auto action = record.onReport;
        action();
    }
}

void RecordingDeviceDelegate::handleSetReport(unsigned int type, unsigned int reportID, std::valarray<uint8_t> report,
                                              mis::swizzler<QrxHIDDevice> device, int interfaceNumber)
{
    EXPECT_TRUE(device) << "the delegate gets a handle on its device";
    DeviceRecord& record = _record;
    record.lines.push_back("set " + std::to_string(type) + " " + std::to_string(reportID) + " " +
                           std::to_string(interfaceNumber) + ": " + hexText(report));
    device.release();
    if (record.onSetReport) {
        const auto action = record.onSetReport;
        action();
    }
}
