#include "ReportBatch.h"

#include "HID/ReportDescriptor.h"
#include "KernelLimits.h"

#include <algorithm>
#include <new>

namespace qrx::platform {

namespace {

/// A full ring then leaves a segment unused, which shows that the ring was read to its end.
constexpr std::size_t kMostSegments = kRingReports + 1;
/// At least so many are offered, which costs little: the kernel copies up to 8 segments to its stack (UIO_FASTIOV) and
/// allocates memory only for more.
constexpr std::size_t kFewestSegments = 4;
/// How many times more are offered after a call that filled all: another call costs as much as some 25 segments.
constexpr std::size_t kGrowth = 4;
/// Bound of the memory of one open node; long reports get fewer segments.
constexpr std::size_t kMostBytes = 65536;
/// The least that the kernel's USB driver reserves for a report (its HID_MIN_BUFFER_SIZE).
constexpr std::size_t kLeastBuffer = 64;

/// Bytes of the longest report of one type, or of all.
std::size_t longest(const hid::Descriptor& descriptor, bool inputOnly)
{
    std::size_t bits = 0;
    for (const hid::Report& report : descriptor.reports) {
        if (!inputOnly || report.type == hid::ReportType::input) {
            bits = std::max(bits, report.bits + (report.id != 0 ? 8 : 0));
        }
    }
    return std::min((bits + 7) / 8, kLongestReport);
}

} // namespace

ReportBatch::ReportBatch(std::span<const std::uint8_t> reportDescriptor)
{
    const hid::Descriptor descriptor = hid::parseReportDescriptor(reportDescriptor);
    const bool isCertain = !descriptor.hasErrors();
    // A report that is longer than declared has nothing of use beyond that; the kernel's USB driver hands on input up
    // to the longest report of any type, so a buffer for one report has that length. But a descriptor that was not
    // understood to its end declares nothing, so every report gets a call and a buffer of the greatest length.
    _segmentBytes = isCertain ? longest(descriptor, true) : 0;
    const std::size_t wholeBytes = isCertain ? std::max(longest(descriptor, false), kLeastBuffer) : kLongestReport;
    _most = _segmentBytes == 0 ? 0 : std::min(kMostSegments, kMostBytes / _segmentBytes);
    offer(kFewestSegments);
    makeSegments(_offered, wholeBytes);
}

/// A node at which many reports never wait at once does without their memory. Where there is none for more, as many are
/// offered as before.
void ReportBatch::grow()
{
    try {
        makeSegments(std::min(std::max(_offered, kGrowth * _segments.size()), _most), 0);
    } catch (const std::bad_alloc&) {
        _offered = _segments.size();
    }
}

/// Leaves all as it was if there is no memory.
void ReportBatch::makeSegments(std::size_t count, std::size_t leastBytes)
{
    _segments.reserve(count);
    // The same bytes serve a call for one report.
    _bytes.resize(std::max({leastBytes, _bytes.size(), count * _segmentBytes}));
    _segments.clear();
    for (std::size_t at = 0; at < count; ++at) {
        _segments.push_back({_bytes.data() + at * _segmentBytes, _segmentBytes});
    }
}

void ReportBatch::setSegments(std::size_t size)
{
    const std::size_t full = size / _segmentBytes;
    const std::size_t rest = size % _segmentBytes;
    // Full segments first, then at most one shorter report: the kernel stops after it.
    _count = full + (rest != 0 ? 1 : 0);
    _next = 0;
    _lastBytes = rest != 0 ? rest : _segmentBytes;
    noteLength(_lastBytes);
    _endedAsForeseen = false;
    // After a short report the call stops although more may wait.
    _endedEmpty = rest == 0 && full < _offered;
    _burst += _count;
    // All were filled, so more may wait: the next call offers more.
    if (full == _offered) {
        offer(kGrowth * _offered);
    } else if (_endedEmpty) {
        setNothing();
    }
}

void ReportBatch::setNothing()
{
    _unproven = 0;
    if (_burst != 0) {
        // The end of a burst was seen: its size is what the next one is compared with.
        _alikeInARow = _burst == _foreseen ? std::min(_alikeInARow + 1, kAlikeBeforeForeseen) : 1;
        _foreseen = _burst;
        offer(std::max(2 * _burst, kFewestSegments));
        _burst = 0;
    }
}

} // namespace qrx::platform
