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
        // The device knows the queue by now; without a channel nobody would ever close it.
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
    // Room is made when the buffers change places, not for each report that is handed out.
    if (fetched) {
        _device->roomMade();
    }
    // What comes after a fetch makes the event descriptor readable again.
    setDescriptorNext(next == Next::report && !_queue->hasFetchedReports());
    return next;
}

bool VirtualChannel::hasFetchedReports() const
{
    return _queue->hasFetchedReports();
}

Status VirtualChannel::setReport(ReportType type, std::uint32_t reportID, std::span<const std::uint8_t> bytes)
{
    if (reportID != 0 && (bytes.empty() || bytes.front() != reportID)) {
        // As with a real device on Linux, where the kernel sends the first byte as the number. The mistake should show
        // in tests, not with a user's device.
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
        // A longer answer is cut, as a control transfer ends with the buffer.
        size = std::min(answer.size(), buffer.size());
        std::copy_n(answer.begin(), size, buffer.begin());
    }
    return status;
}

std::uint64_t VirtualChannel::possibleLosses() const
{
    // Reports that were lost, one by one. The kernel's ring only shows that it was full.
    return _queue->lostCount();
}

} // namespace qrx::platform
