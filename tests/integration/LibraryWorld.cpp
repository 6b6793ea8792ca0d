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
    return {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x00, 0x26, 0xff, 0x00, 0x75, 0x08, 0x95, 0x04,
            0x09, 0x02, 0x81, 0x02, 0x95, 0x02, 0x09, 0x03, 0x91, 0x02, 0x09, 0x04, 0xb1, 0x02, 0xc0};
}

Bytes numberedDescriptor()
{
    return {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x00, 0x26, 0xff, 0x00, 0x75, 0x08, 0x85, 0x01,
            0x95, 0x02, 0x09, 0x02, 0x81, 0x02, 0x85, 0x02, 0x95, 0x08, 0x09, 0x03, 0x81, 0x02, 0x85, 0x03,
            0x95, 0x03, 0x09, 0x04, 0x91, 0x02, 0x85, 0x04, 0x95, 0x05, 0x09, 0x05, 0xb1, 0x02, 0xc0};
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
