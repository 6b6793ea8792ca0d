#include "VirtualChannel.h"

#include "Base/Log.h"
#include "ReportQueue.h"
#include "VirtualUsbDevice.h"

#include <algorithm>
#include <string>

namespace qrx::platform {

VirtualPort::VirtualPort(std::shared_ptr<VirtualUsbDevice> device, std::uint64_t plugging, int interfaceNumber)
    : _device(std::move(device)), _plugging(plugging), _interfaceNumber(interfaceNumber)
{
}

Status VirtualPort::open(std::unique_ptr<HIDChannel>& channel)
{
    std::shared_ptr<ReportQueue> queue;
    const Status status = _device->openQueue(_plugging, _interfaceNumber, queue);
    if (status != Status::success) {
        return status;
    }
    try {
        channel = std::make_unique<VirtualChannel>(_device, _plugging, _interfaceNumber, queue);
    } catch (...) {
        _device->closeQueue(queue);
        throw;
    }
    return status;
}

VirtualChannel::VirtualChannel(std::shared_ptr<VirtualUsbDevice> device, std::uint64_t plugging, int interfaceNumber,
                               std::shared_ptr<ReportQueue> queue)
    : _device(std::move(device)), _plugging(plugging), _interfaceNumber(interfaceNumber), _queue(std::move(queue))
{
}

VirtualChannel::~VirtualChannel()
{
    _device->closeQueue(_queue);
}

int VirtualChannel::descriptor() const
{
    return _queue->descriptor();
}

HIDChannel::Next VirtualChannel::takeReport(std::span<const std::uint8_t>& report)
{
    bool fetched = false;
    const Next next = _queue->take(report, fetched);
    if (fetched) {
        _device->roomMade();
    }
    return next;
}

bool VirtualChannel::hasFetchedReports() const
{
    return _queue->hasFetchedReports();
}

Status VirtualChannel::setReport(ReportType type, std::uint32_t reportID, std::span<const std::uint8_t> bytes)
{
    if (reportID != 0 && (bytes.empty() || bytes.front() != reportID)) {
        // As with a real device of this platform: the mistake should show in tests, not on the user's desk.
        log(LogLevel::error, "a report sent to the virtual device's interface " + std::to_string(_interfaceNumber) +
                                 " was refused: the bytes of report " + std::to_string(reportID) +
                                 " must begin with its number");
        return Status::badArgument;
    }
    return _device->takeSentReport(_plugging, {_interfaceNumber, type, reportID, {bytes.begin(), bytes.end()}});
}

Status VirtualChannel::getReport(ReportType type, std::uint32_t reportID, std::span<std::uint8_t> buffer,
                                 std::size_t& size)
{
    std::vector<std::uint8_t> answer;
    const Status status = _device->answerRequest(_plugging, _interfaceNumber, type, reportID, answer);
    if (status == Status::success) {
        size = std::min(answer.size(), buffer.size());
        std::copy_n(answer.begin(), size, buffer.begin());
    }
    return status;
}

std::uint64_t VirtualChannel::possibleLosses() const
{
    return _queue->lostCount();
}

} // namespace qrx::platform
