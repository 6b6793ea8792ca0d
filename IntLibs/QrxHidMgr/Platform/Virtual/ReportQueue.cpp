// Two buffers that change places. Writers fill one under the lock; when the reader has used up the other, they are
// exchanged. The event descriptor is readable while the writers' buffer holds something or the queue has ended, and its
// counter is cleared with the exchange. The reader must go on until its own buffer is empty, for which nothing is
// readable any more (`hasFetchedReports`).

#include "ReportQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace qrx::platform {

ReportQueue::ReportQueue(std::size_t depth)
    : _waiting(depth), _fetched(depth), _event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
}

bool ReportQueue::push(std::span<const std::uint8_t> report)
{
    const std::scoped_lock lock(_mutex);
    // The newest report is lost, as in the kernel's ring.
    if (_ended || _waitingCount == _waiting.size()) {
        ++_lost;
        return false;
    }
    // Into the memory of an earlier report: nothing is allocated once all places have been used.
    _waiting[_waitingCount].assign(report.begin(), report.end());
    if (_waitingCount++ == 0) {
        raiseEvent();
    }
    return true;
}

void ReportQueue::end()
{
    const std::scoped_lock lock(_mutex);
    if (!_ended) {
        _ended = true;
        raiseEvent();
    }
}

bool ReportQueue::hasRoom() const
{
    const std::scoped_lock lock(_mutex);
    return _waitingCount < _waiting.size();
}

HIDChannel::Next ReportQueue::take(std::span<const std::uint8_t>& report, bool& fetched)
{
    fetched = false;
    if (!hasFetchedReports()) {
        const std::scoped_lock lock(_mutex);
        if (_waitingCount == 0) {
            // The end is reported only when everything that was sent has been handed out.
            return _ended ? HIDChannel::Next::gone : HIDChannel::Next::empty;
        }
        fetched = fetchWaiting();
    }
    report = _fetched[_nextFetched++];
    return HIDChannel::Next::report;
}

// With the lock held.
bool ReportQueue::fetchWaiting()
{
    std::swap(_waiting, _fetched);
    _fetchedCount = std::exchange(_waitingCount, 0);
    _nextFetched = 0;
    // At the end the descriptor stays readable, so that a loop that looks later still finds the end.
    if (!_ended) {
        clearEvent();
    }
    return true;
}

// The counter is 0 or 1 (2 when a queue that has reports ends), so neither call can fail or block.
void ReportQueue::raiseEvent()
{
    if (!_process.isInherited()) {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(_event.get(), &one, sizeof one);
    }
}

void ReportQueue::clearEvent()
{
    if (!_process.isInherited()) {
        std::uint64_t count = 0;
        [[maybe_unused]] const ssize_t taken = ::read(_event.get(), &count, sizeof count);
    }
}

} // namespace qrx::platform
