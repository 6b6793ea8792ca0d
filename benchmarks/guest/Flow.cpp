#include "Flow.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <time.h>

namespace {

/// A report carries these, so that no table has to be shared between threads.
struct Stamp {
    std::int64_t moment;
    std::int64_t senderNs; ///< for how long the sender has had the processor so far
};

} // namespace

std::int64_t Flow::now()
{
    // The monotonic clock of the guest, which is the same for all its threads.
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

std::vector<std::uint8_t> Flow::stampedReport() const
{
    std::vector<std::uint8_t> report(kBytes);
    const std::int64_t moment = now();
    const Stamp stamp{moment, senderTime(moment)};
    std::memcpy(report.data(), &stamp, sizeof stamp);
    return report;
}

void Flow::take(const std::uint8_t* bytes)
{
    Stamp stamp{};
    std::memcpy(&stamp, bytes, sizeof stamp);
    const std::int64_t delay = now() - stamp.moment;
    _delays.all.push_back(delay);
    _delays.withoutSender.push_back(delay - (_senderNs.load(std::memory_order_relaxed) - stamp.senderNs));
}

void Flow::expect(std::size_t count)
{
    for (std::vector<std::int64_t>* delays : {&_delays.all, &_delays.withoutSender}) {
        delays->resize(count);
        delays->clear();
    }
}

Flow::Delays Flow::takeDelays()
{
    Delays delays = std::exchange(_delays, {});
    // Sorted for percentiles; their order in time is of no interest.
    std::ranges::sort(delays.all);
    std::ranges::sort(delays.withoutSender);
    return delays;
}
