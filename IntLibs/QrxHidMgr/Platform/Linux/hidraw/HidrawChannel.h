#pragma once

#include "Base/FileDescriptor.h"
#include "Base/SystemCalls.h"
#include "DeviceAccess.h"
#include "Provider/Provider.h"
#include "ReportBatch.h"

#include <cstdint>
#include <memory>
#include <span>

namespace qrx::platform {

/// One open report node.
///
/// Input is taken in batches where several reports wait (see ReportBatch): one readv brings all of them, up to the
/// kernel's ring of 63 reports. That only works while the kernel reads such a node segment by segment. Whether it does
/// is asked once, at the first take: preadv2 with a flag answers EOPNOTSUPP for exactly those files whose driver has a
/// plain read operation, which the kernel then calls once for every segment, and reads nothing. Any other answer means
/// that one call might join or spread reports; then each is read by a call of its own (and if that first call already
/// brought a report, it is a whole one and counts).
///
/// The node reports "gone" only after all that was queued has been read: the kernel fails with EIO then, and not
/// before.
class HidrawChannel : public HIDChannel {
public:
    /// `fd` is the node, open and non-blocking. Memory for many reports is taken when many have waited: at most 64 KiB.
    /// `access` is the device's, for telling of possible losses.
    HidrawChannel(SystemCalls& calls, FileDescriptor fd, std::span<const std::uint8_t> reportDescriptor, bool canWrite,
                  std::shared_ptr<const DeviceAccess> access, unsigned interfaceNumber);

    int descriptor() const override { return _fd.get(); }
    Next takeReport(std::span<const std::uint8_t>& report) override;
    bool hasFetchedReports() const override { return !_batch.isEmpty(); }

    /// Output goes by write, feature and input by ioctl. badArgument if the bytes of a numbered report do not begin
    /// with its number: the kernel takes the number from there, so anything else would be sent as another report.
    Status setReport(ReportType type, std::uint32_t reportID, std::span<const std::uint8_t> bytes) override;
    Status getReport(ReportType type, std::uint32_t reportID, std::span<std::uint8_t> buffer,
                     std::size_t& size) override;

    /// Counts how often as many reports came without a pause as the kernel's ring holds, so that it may have been full:
    /// it drops the newest then, without a word.
    std::uint64_t possibleLosses() const override { return _losses; }

private:
    enum class Mode { unknown, batches, single };

    // One piece of code, since short reports pass it one by one.
    Next fetch(std::span<const std::uint8_t>& report);
    inline Next give(std::span<const std::uint8_t>& report);
    inline ssize_t readWhole();
    inline ssize_t readSegments();
    ssize_t probe();
    inline void accept(std::size_t size, bool isBatch);
    void noteFullQueue();
    Status send(ReportType type, std::span<std::uint8_t> framed);

    SystemCalls& _calls;
    FileDescriptor _fd;
    ReportBatch _batch;
    const bool _canWrite;
    const unsigned _interfaceNumber;
    const std::shared_ptr<const DeviceAccess> _access;
    Mode _mode = Mode::unknown;
    bool _isGone = false;
    /// Reports since the queue was last seen empty.
    std::size_t _burst = 0;
    std::uint64_t _losses = 0;
};

} // namespace qrx::platform
