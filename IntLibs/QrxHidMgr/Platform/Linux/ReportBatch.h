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
/// filled. Two cases are cheaper with a call for each report:
/// - reports shorter than the longest one end a call with segments, whatever else waits;
/// - reports that come one at a time: a call for one does not find out that no other waits, but the descriptor tells
///   that anyway. Every eighth time the end of the queue is looked for all the same, to notice when more come at a time.
class ReportBatch {
public:
    /// `reportDescriptor` decides the length of a segment, the byte of a report's number included.
    explicit ReportBatch(std::span<const std::uint8_t> reportDescriptor);

    /// For one report a call: a buffer into which every report fits.
    iovec whole();
    /// For as many reports as there are segments. Empty if reports cannot be told apart by their length.
    std::span<const iovec> segments() const { return std::span(_segments).first(_offered); }
    /// True if the next call should be one for `whole`, false for one for `segments`.
    bool wantsWhole() const { return isLone() || _fullInARow < kFullBeforeSegments; }

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

    /// Reports of the last call.
    std::size_t count() const { return _count; }
    /// True if the last call ended since nothing waited any more: some segments were not even begun.
    bool endedEmpty() const { return _endedEmpty; }
    /// True if the last call was for a report that comes alone, as those before it did: asking for another is not worth
    /// it.
    bool wasLone() const { return _wasLone; }

private:
    /// Reports of full length in a row after which calls with segments are worth it.
    static constexpr unsigned int kFullBeforeSegments = 4;
    /// Reports that came alone, in a row, after which the next one is expected to come alone as well.
    static constexpr unsigned int kLoneBeforeExpected = 2;
    /// Calls for a report that is expected alone until the end of the queue is looked for.
    static constexpr unsigned int kLoneCalls = 7;

    bool isLone() const { return _loneInARow >= kLoneBeforeExpected && _loneCalls < kLoneCalls && _burst == 0; }
    void noteLength(std::size_t size);
    void offer(std::size_t count) { _offered = std::min(count, _segments.size()); }

    std::vector<std::uint8_t> _bytes;
    std::vector<iovec> _segments;
    /// How many of the segments the next call gets.
    std::size_t _offered = 0;
    /// Reports since nothing waited, without those that were expected alone.
    std::size_t _burst = 0;
    /// How often in a row a burst was one report.
    unsigned int _loneInARow = 0;
    /// Since the end of the queue was seen.
    unsigned int _loneCalls = 0;
    unsigned int _fullInARow = kFullBeforeSegments;
    std::size_t _segmentBytes = 0;
    std::size_t _count = 0;
    std::size_t _next = 0;
    std::size_t _lastBytes = 0;
    bool _endedEmpty = false;
    bool _wasLone = false;
};

} // namespace qrx::platform
