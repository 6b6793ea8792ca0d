#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include <sys/uio.h>

namespace qrx::platform {

/// Buffers for the input reports of one open node, all allocated at once, and the way from the size that readv gives
/// back to the single reports.
///
/// A hidraw node gives one report per segment, and stops at the first one that is shorter than its segment. With
/// segments that are exactly as long as the longest input report, a size therefore means: as many full segments as go
/// into it, then at most one shorter report.
///
/// The kernel looks at every segment of a call before it reads, which costs more than reading a report where few wait,
/// as they mostly do. So twice as many are offered as came the last time that anything came, and more once they are all
/// filled.
class ReportBatch {
public:
    /// `reportDescriptor` decides the length of a segment, the byte of a report's number included.
    explicit ReportBatch(std::span<const std::uint8_t> reportDescriptor);

    /// For one report a call: a buffer into which every report fits.
    iovec whole();
    /// For as many reports as there are segments. Empty if reports cannot be told apart by their length.
    std::span<const iovec> segments() const { return std::span(_segments).first(_offered); }

    /// Says that `size` bytes were read into `whole` as one report.
    void setWhole(std::size_t size);
    /// Says that `size` bytes were read into `segments`.
    void setSegments(std::size_t size);
    /// Says that nothing was read, since nothing waits.
    void setNothing();

    bool isEmpty() const { return _next == _count; }
    std::span<const std::uint8_t> take()
    {
        const std::size_t at = _next++;
        return {_bytes.data() + at * _segmentBytes, _next == _count ? _lastBytes : _segmentBytes};
    }

    /// Reports of the last setSegments.
    std::size_t count() const { return _count; }
    /// True if the last setSegments ended since nothing waited any more: some segments were not even begun.
    bool endedEmpty() const { return _endedEmpty; }

private:
    void offer(std::size_t count) { _offered = std::min(count, _segments.size()); }

    std::vector<std::uint8_t> _bytes;
    std::vector<iovec> _segments;
    /// How many of the segments the next call gets.
    std::size_t _offered = 0;
    /// Reports since nothing waited.
    std::size_t _burst = 0;
    std::size_t _segmentBytes = 0;
    std::size_t _count = 0;
    std::size_t _next = 0;
    std::size_t _lastBytes = 0;
    bool _endedEmpty = false;
};

} // namespace qrx::platform
