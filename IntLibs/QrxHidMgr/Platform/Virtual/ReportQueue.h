#pragma once

#include "Base/WakeEvent.h"
#include "Provider/Provider.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

namespace qrx::platform {

/// Input reports on their way from a virtual device to one reader, with a descriptor that is readable while some wait.
class ReportQueue {
public:
    explicit ReportQueue(std::size_t depth);

    /// False if the queue is full or has ended: the report is lost, as the kernel loses the newest of too many.
    bool push(std::span<const std::uint8_t> report);
    /// Nothing comes after this; the descriptor stays readable.
    void end();
    bool hasRoom() const;
    std::uint64_t lostCount() const { return _lost.load(std::memory_order_relaxed); }

    /// Readable while reports wait or the queue has ended. -1 if the system had no descriptor to give.
    int descriptor() const { return _event.descriptor(); }
    /// The reader's: as HIDChannel::takeReport. `fetched` tells whether the writers got their room back.
    HIDChannel::Next take(std::span<const std::uint8_t>& report, bool& fetched);
    /// The reader's: as HIDChannel::hasFetchedReports.
    bool hasFetchedReports() const { return _nextFetched < _fetchedCount; }

private:
    bool fetchWaiting();

    mutable std::mutex _mutex;
    std::vector<std::vector<std::uint8_t>> _waiting;
    std::size_t _waitingCount = 0;
    bool _ended = false;
    std::atomic<std::uint64_t> _lost{0}; ///< read after each visit, so without the mutex

    std::vector<std::vector<std::uint8_t>> _fetched;
    std::size_t _fetchedCount = 0;
    std::size_t _nextFetched = 0;

    WakeEvent _event;
};

} // namespace qrx::platform
