// Two buffers that change places. Writers fill one under the lock; when the reader has used up the other, they are
// exchanged. The event descriptor is readable while the writers' buffer holds something or the queue has ended, and its
// counter is cleared with the exchange. The reader must go on until its own buffer is empty, for which nothing is
// readable any more (`hasFetchedReports`).

#include "ReportQueue.h"

#include <utility>

namespace qrx::platform {

ReportQueue::ReportQueue(std::size_t depth) : _waiting(depth), _fetched(depth), _event(SystemCalls::ofProcess()) {}

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
        _event.raise();
    }
    return true;
}

void ReportQueue::end()
{
    const std::scoped_lock lock(_mutex);
    // Once is enough: the event is never cleared after this.
    if (!_ended) {
        _ended = true;
        _event.raise();
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
    // The reader's own buffer needs no lock: only the reader touches it, and the exchange orders what writers have put
    // there.
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

// Called with the lock held.
bool ReportQueue::fetchWaiting()
{
    std::swap(_waiting, _fetched);
    _fetchedCount = std::exchange(_waitingCount, 0);
    _nextFetched = 0;
    // At the end the descriptor stays readable, so that a loop that looks later still finds the end.
    if (!_ended) {
        _event.clear();
    }
    return true;
}

} // namespace qrx::platform
