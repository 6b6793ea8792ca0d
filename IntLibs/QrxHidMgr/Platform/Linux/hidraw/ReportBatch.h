#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include <sys/uio.h>

namespace qrx::platform {

/// Buffers for the input reports of one open node. Cuts what one readv has read into the single reports.
///
/// A hidraw node gives one report per segment, and stops at the first one that is shorter than its segment. With
/// segments that are exactly as long as the longest input report, a size therefore means: as many full segments as go
/// into it, then at most one shorter report.
///
/// The kernel looks at every segment of a call before it reads, which costs more than reading a report where few wait,
/// as they mostly do. So twice as many are offered as came the last time that anything came, and more once they are all
/// filled. There is memory for as many as were ever offered. Two cases are cheaper with a call for each report:
/// - reports shorter than the longest one end a call with segments, whatever else waits;
/// - reports that come one at a time.
///
/// Where each report has a call of its own, another call would be needed to see that nothing is left. Once so many have
/// come as the last two times, it is left out: the descriptor tells whether more wait. After at most 24 reports the end
/// of the queue is looked for all the same, to notice when more come at a time.
class ReportBatch {
public:
    /// `reportDescriptor` decides the length of a segment, the byte of a report's number included.
    explicit ReportBatch(std::span<const std::uint8_t> reportDescriptor);

    /// For one report a call: a buffer into which every report fits.
    iovec whole() { return {_bytes.data(), _bytes.size()}; }
    /// For as many reports as there are segments, once all reports have been taken. Empty if reports cannot be told
    /// apart by their length.
    std::span<const iovec> segments()
    {
        if (_offered > _segments.size()) [[unlikely]] {
            grow();
        }
        return std::span(_segments).first(_offered);
    }
    /// True if the next call should be one for `whole`, false for one for `segments`.
    bool wantsWhole() const { return comesInShortOnes() || (_foreseen == 1 && isForeseen()); }

    /// Says that `size` bytes were read into `whole` as one report.
    void setWhole(std::size_t size)
    {
        _count = 1;
        _next = 0;
        _lastBytes = size;
        _endedEmpty = false;
        noteLength(size);
        ++_burst;
        _endedAsForeseen = _burst == _foreseen && isForeseen();
        if (_endedAsForeseen) {
            _unproven += _burst;
            _burst = 0;
        }
    }
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
    /// True if as many reports as were foreseen have come with the last call, so that another call would find nothing.
    bool endedAsForeseen() const { return _endedAsForeseen; }

private:
    /// Reports of full length in a row after which calls with segments are worth it.
    static constexpr unsigned int kFullBeforeSegments = 4;
    /// Bursts of one size in a row after which the next one is foreseen to have it too.
    static constexpr unsigned int kAlikeBeforeForeseen = 2;
    /// Reports that may come as foreseen before the end of the queue is looked for: so few that they are not taken for
    /// a full queue together with an ordinary burst.
    static constexpr std::size_t kMostUnproven = 24;

    bool comesInShortOnes() const { return _fullInARow < kFullBeforeSegments; }
    bool isForeseen() const { return _alikeInARow >= kAlikeBeforeForeseen && _unproven + _foreseen <= kMostUnproven; }
    void noteLength(std::size_t size)
    {
        _fullInARow = size < _segmentBytes ? 0 : std::min(_fullInARow + 1, kFullBeforeSegments);
    }
    void offer(std::size_t count) { _offered = std::min(count, _most); }
    void grow();
    void makeSegments(std::size_t count, std::size_t leastBytes);

    std::vector<std::uint8_t> _bytes;
    std::vector<iovec> _segments;
    /// Segments that a call may be offered.
    std::size_t _most = 0;
    /// How many of the segments the next call gets.
    std::size_t _offered = 0;
    /// Reports since nothing waited, without those that came as foreseen.
    std::size_t _burst = 0;
    /// Reports of the last burst whose end was seen, and how many bursts in a row had as many.
    std::size_t _foreseen = 0;
    unsigned int _alikeInARow = 0;
    /// Reports that came as foreseen since the end of the queue was seen.
    std::size_t _unproven = 0;
    unsigned int _fullInARow = kFullBeforeSegments;
    std::size_t _segmentBytes = 0;
    std::size_t _count = 0;
    std::size_t _next = 0;
    std::size_t _lastBytes = 0;
    bool _endedEmpty = false;
    bool _endedAsForeseen = false;
};

} // namespace qrx::platform
