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
    if (_ended || _waitingCount == _waiting.size()) {
        ++_lost;
        return false;
    }
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

std::uint64_t ReportQueue::lostCount() const
{
    const std::scoped_lock lock(_mutex);
    return _lost;
}

HIDChannel::Next ReportQueue::take(std::span<const std::uint8_t>& report, bool& fetched)
{
    fetched = false;
    if (!hasFetchedReports()) {
        const std::scoped_lock lock(_mutex);
        if (_waitingCount == 0) {
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
