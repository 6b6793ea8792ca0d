#include "Flow.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include <time.h>

std::int64_t Flow::now()
{
    // The monotonic clock of the guest, which is the same for all its threads.
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
}

// A report carries the moment of its sending, so that no table of moments has to be shared between threads.
std::vector<std::uint8_t> Flow::stampedReport()
{
    std::vector<std::uint8_t> report(kBytes);
    const std::int64_t moment = now();
    std::memcpy(report.data(), &moment, sizeof moment);
    return report;
}

void Flow::take(const std::uint8_t* bytes)
{
    std::int64_t sent = 0;
    std::memcpy(&sent, bytes, sizeof sent);
    _delays.push_back(now() - sent);
}

std::vector<std::int64_t> Flow::takeDelays()
{
    std::vector<std::int64_t> delays = std::exchange(_delays, {});
    // Sorted for percentiles; their order in time is of no interest.
    std::ranges::sort(delays);
    return delays;
}
