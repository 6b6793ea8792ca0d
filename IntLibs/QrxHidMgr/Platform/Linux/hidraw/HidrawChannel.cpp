// Input and requests through a hidraw node. The kernel keeps a ring of reports for every open file. A read takes the
// oldest report; a vectored read takes one report for each segment, which saves system calls when several wait
// (ReportBatch says how many are asked for). Whether the running kernel reads segment by segment is found out once, by
// a question that reads nothing.
//
// Requests are synchronous: output goes by write, feature reports by ioctl, and either returns when the device has
// answered. All bytes are framed as the kernel wants them, with the report's number first, which is 0 for a device that
// does not number its reports.

#include "HidrawChannel.h"

#include "Base/Uninterrupted.h"
#include "ErrorStatus.h"
#include "KernelLimits.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>
#include <vector>

#include <linux/hidraw.h>
#include <sys/ioctl.h>

namespace qrx::platform {

namespace {

/// An ioctl's number has 14 bits for the size of its report, one byte less than the kernel takes by a write.
constexpr std::size_t kLongestControl = kLongestReport - 1;
/// Reports up to this length are framed on the stack.
constexpr std::size_t kUsualReport = 1024;
constexpr std::uint32_t kHighestReportID = 255;
/// Stands for "no read was made" in place of a read's result.
constexpr ssize_t kNotAsked = -2;

/// Memory for one request: on the stack as long as the report is of usual length.
class Frame {
public:
    explicit Frame(std::size_t size)
    {
        if (size > _usual.size()) {
            _long.resize(size);
        }
        _bytes = size > _usual.size() ? std::span(_long) : std::span(_usual).first(size);
    }

    std::span<std::uint8_t> bytes() { return _bytes; }

private:
    std::array<std::uint8_t, kUsualReport + 1> _usual;
    std::vector<std::uint8_t> _long;
    std::span<std::uint8_t> _bytes;
};

unsigned long setRequest(ReportType type, std::size_t size)
{
    return type == ReportType::input ? HIDIOCSINPUT(size) : HIDIOCSFEATURE(size);
}

unsigned long getRequest(ReportType type, std::size_t size)
{
    switch (type) {
    case ReportType::input:
        return HIDIOCGINPUT(size);
    case ReportType::output:
        return HIDIOCGOUTPUT(size);
    case ReportType::feature:
        break;
    }
    return HIDIOCGFEATURE(size);
}

} // namespace

HidrawChannel::HidrawChannel(SystemCalls& calls, FileDescriptor fd, std::span<const std::uint8_t> reportDescriptor,
                             bool canWrite, std::shared_ptr<const DeviceAccess> access, unsigned interfaceNumber)
    : _calls(calls), _fd(std::move(fd)), _batch(reportDescriptor), _canWrite(canWrite),
      _interfaceNumber(interfaceNumber), _access(std::move(access))
{
    if (_batch.segments().size() < 2) {
        _mode = Mode::single;
    }
}

HIDChannel::Next HidrawChannel::takeReport(std::span<const std::uint8_t>& report)
{
    if (!_batch.isEmpty()) {
        return give(report);
    }
    return fetch(report);
}

inline HIDChannel::Next HidrawChannel::give(std::span<const std::uint8_t>& report)
{
    report = _batch.take();
    if (_batch.isEmpty()) {
        // Reports that have come since the fetch make the descriptor readable again, so there is no need to ask now.
        // There may be many: an exception or a nested run of the loop may lie between a fetch and its last report.
        setDescriptorNext(_batch.endedEmpty() || _batch.endedAsForeseen());
    }
    return Next::report;
}

/// Not inlined, so that the case above, which every report of a batch passes, saves no registers.
[[gnu::noinline]] HIDChannel::Next HidrawChannel::fetch(std::span<const std::uint8_t>& report)
{
    if (_isGone) {
        return Next::gone;
    }
    setDescriptorNext(false);
    ssize_t size = _mode == Mode::unknown ? probe() : kNotAsked;
    const bool isBatch = _mode == Mode::batches && !_batch.wantsWhole();
    if (size == kNotAsked) {
        size = isBatch ? readSegments() : readWhole();
    }
    if (size > 0) [[likely]] {
        accept(static_cast<std::size_t>(size), isBatch);
        return give(report);
    }
    if (size < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
        _burst = 0;
        _batch.setNothing();
        return Next::empty;
    }
    // EIO and ENODEV mean an unplug. No other error goes away by asking again, and a descriptor that stays readable
    // without anything to read would keep its loop spinning. A size of 0 counts as an error too: the kernel never gives
    // a report without bytes.
    _isGone = true;
    return Next::gone;
}

inline ssize_t HidrawChannel::readWhole()
{
    const iovec whole = _batch.whole();
    return uninterrupted([&] { return _calls.read(_fd.get(), whole.iov_base, whole.iov_len); });
}

inline ssize_t HidrawChannel::readSegments()
{
    const auto segments = _batch.segments();
    return uninterrupted([&] { return _calls.readv(_fd.get(), segments.data(), static_cast<int>(segments.size())); });
}

/// Finds the mode. Returns what the question has read, or kNotAsked if it reads nothing.
ssize_t HidrawChannel::probe()
{
    const iovec whole = _batch.whole();
    // For a read, RWF_DSYNC asks for nothing that is not so anyway. A file whose driver has a plain read operation
    // refuses any flag with EOPNOTSUPP, before it reads.
    const ssize_t size = uninterrupted([&] { return _calls.readvFlagged(_fd.get(), &whole, 1, RWF_DSYNC); });
    if (size < 0 && errno == EOPNOTSUPP) {
        _mode = Mode::batches;
        return kNotAsked;
    }
    _mode = Mode::single;
    // An old kernel may know neither the flag nor the call.
    return size < 0 && (errno == EINVAL || errno == ENOSYS) ? kNotAsked : size;
}

inline void HidrawChannel::accept(std::size_t size, bool isBatch)
{
    if (isBatch) {
        _batch.setSegments(size);
    } else {
        _batch.setWhole(size);
    }
    // The kernel drops the newest report when the ring is full and says nothing. As many reports in one burst as the
    // ring holds mean that it may have been full.
    _burst += _batch.count();
    if (_burst >= kRingReports) [[unlikely]] {
        noteFullQueue();
    }
    if (_batch.endedEmpty()) {
        _burst = 0;
    }
}

void HidrawChannel::noteFullQueue()
{
    _burst = 0;
    _access->tellPossibleLoss(_interfaceNumber, ++_losses);
}

Status HidrawChannel::setReport(ReportType type, std::uint32_t reportID, std::span<const std::uint8_t> bytes)
{
    // Only write needs a node that was opened for writing; the ioctls work on any.
    if (type == ReportType::output && !_canWrite) {
        return Status::notPermitted;
    }
    const bool isNumbered = reportID != 0;
    if (reportID > kHighestReportID || (isNumbered && (bytes.empty() || bytes[0] != reportID))) {
        return Status::badArgument;
    }
    // The kernel wants a number before the data in any case, 0 where the device knows none.
    const std::size_t size = bytes.size() + (isNumbered ? 0 : 1);
    if (size > (type == ReportType::output ? kLongestReport : kLongestControl)) {
        return Status::badArgument;
    }
    Frame frame(size);
    const std::span<std::uint8_t> framed = frame.bytes();
    if (!isNumbered) {
        framed[0] = 0;
    }
    std::copy(bytes.begin(), bytes.end(), framed.begin() + (isNumbered ? 0 : 1));
    return send(type, framed);
}

Status HidrawChannel::send(ReportType type, std::span<std::uint8_t> framed)
{
    const ssize_t result = uninterrupted([&]() -> ssize_t {
        if (type == ReportType::output) {
            return _calls.write(_fd.get(), framed.data(), framed.size());
        }
        return _calls.control(_fd.get(), setRequest(type, framed.size()), framed.data());
    });
    return result < 0 ? statusOfRequest(errno) : Status::success;
}

Status HidrawChannel::getReport(ReportType type, std::uint32_t reportID, std::span<std::uint8_t> buffer,
                                std::size_t& size)
{
    if (reportID > kHighestReportID || buffer.empty()) {
        return Status::badArgument;
    }
    // The number comes back before the data, 0 where the device knows none.
    const std::size_t skipped = reportID != 0 ? 0 : 1;
    Frame frame(std::min(buffer.size() + skipped, kLongestControl));
    const std::span<std::uint8_t> framed = frame.bytes();
    std::fill(framed.begin(), framed.end(), std::uint8_t{0});
    framed[0] = static_cast<std::uint8_t>(reportID);
    const int result =
        uninterrupted([&] { return _calls.control(_fd.get(), getRequest(type, framed.size()), framed.data()); });
    if (result < 0) {
        return statusOfRequest(errno);
    }
    // Never more than the buffer, whatever a driver answers.
    const std::size_t got = std::min(static_cast<std::size_t>(result), framed.size());
    const auto data = framed.first(got).subspan(std::min(got, skipped));
    std::copy(data.begin(), data.end(), buffer.begin());
    size = data.size();
    return Status::success;
}

} // namespace qrx::platform
