#include "LibraryWorld.h"

#include <iomanip>
#include <iostream>
#include <ostream>

namespace {

Bytes bytesOf(const std::valarray<uint8_t>& array)
{
    return {std::begin(array), std::end(array)};
}

} // namespace

void PrintTo(const ReceivedReport& report, std::ostream* stream)
{
    *stream << "interface " << report.interfaceNumber << ":" << std::hex << std::setfill('0');
    for (const std::uint8_t byte : report.bytes) {
        *stream << " " << std::setw(2) << unsigned{byte};
    }
    *stream << std::dec;
}

void RecordingDeviceDelegate::handleReport(std::valarray<uint8_t> report, DeviceHandle, int interfaceNumber)
{
    const std::shared_ptr<Log> log = _log;
    log->input.push_back({bytesOf(report), interfaceNumber});
    if (const auto hook = log->onInput) {
        hook();
    }
}

void RecordingDeviceDelegate::handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t> report, DeviceHandle,
                                              int interfaceNumber)
{
    const std::shared_ptr<Log> log = _log;
    log->sent.push_back({bytesOf(report), interfaceNumber});
    if (const auto hook = log->onSent) {
        hook();
    }
}

void RecordingTreeDelegate::deviceAdded(DeviceHandle device)
{
    arrivals.push_back(device->getProductName());
    if (const auto hook = onArrival) {
        hook(device);
    }
}

CapturedOutput::CapturedOutput() : _previous(std::cout.rdbuf(_text.rdbuf())) {}

CapturedOutput::~CapturedOutput()
{
    std::cout.rdbuf(_previous);
}

Bytes plainDescriptor()
{
    return {
        0x06, 0x00, 0xff, // Usage Page (Vendor)
        0x09, 0x01,       // Usage (1)
        0xa1, 0x01,       // Collection (Application)
        0x15, 0x00,       //   Logical Minimum (0)
        0x26, 0xff, 0x00, //   Logical Maximum (255)
        0x75, 0x08,       //   Report Size (8)
        0x95, 0x04,       //   Report Count (4)
        0x09, 0x02,       //   Usage (2)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0x95, 0x02,       //   Report Count (2)
        0x09, 0x03,       //   Usage (3)
        0x91, 0x02,       //   Output (Data, Variable, Absolute)
        0x09, 0x04,       //   Usage (4)
        0xb1, 0x02,       //   Feature (Data, Variable, Absolute)
        0xc0              // End Collection
    };
}

Bytes numberedDescriptor()
{
    return {
        0x06, 0x00, 0xff, // Usage Page (Vendor)
        0x09, 0x01,       // Usage (1)
        0xa1, 0x01,       // Collection (Application)
        0x15, 0x00,       //   Logical Minimum (0)
        0x26, 0xff, 0x00, //   Logical Maximum (255)
        0x75, 0x08,       //   Report Size (8)
        0x85, 0x01,       //   Report ID (1)
        0x95, 0x02,       //   Report Count (2)
        0x09, 0x02,       //   Usage (2)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0x85, 0x02,       //   Report ID (2)
        0x95, 0x08,       //   Report Count (8)
        0x09, 0x03,       //   Usage (3)
        0x81, 0x02,       //   Input (Data, Variable, Absolute)
        0x85, 0x03,       //   Report ID (3)
        0x95, 0x03,       //   Report Count (3)
        0x09, 0x04,       //   Usage (4)
        0x91, 0x02,       //   Output (Data, Variable, Absolute)
        0x85, 0x04,       //   Report ID (4)
        0x95, 0x05,       //   Report Count (5)
        0x09, 0x05,       //   Usage (5)
        0xb1, 0x02,       //   Feature (Data, Variable, Absolute)
        0xc0              // End Collection
    };
}

Bytes vendorDescriptor(std::size_t bytes)
{
    return {0x06,
            0x00,
            0xff,
            0x09,
            0x01,
            0xa1,
            0x01,
            0x15,
            0x00,
            0x26,
            0xff,
            0x00,
            0x75,
            0x08,
            0x96,
            static_cast<std::uint8_t>(bytes),
            static_cast<std::uint8_t>(bytes >> 8),
            0x09,
            0x02,
            0x81,
            0x02,
            0xc0};
}
