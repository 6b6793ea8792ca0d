#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace qrxhid {

/// The times between reports that follow each other, in milliseconds.
struct ReportIntervals {
    double meanMs = 0;
    /// The standard deviation.
    double jitterMs = 0;
    double longestMs = 0;
};

/// What has come in some time.
struct InputFigures {
    double seconds = 0;
    std::uint64_t reports = 0;
    std::uint64_t bytes = 0;
    /// No value before the second report.
    std::optional<ReportIntervals> intervals;

    double reportsPerSecond() const { return seconds > 0 ? static_cast<double>(reports) / seconds : 0; }
    double bytesPerSecond() const { return seconds > 0 ? static_cast<double>(bytes) / seconds : 0; }
};

/// Measures the input reports of one interface: in all, and period by period.
class InputMeter {
public:
    using Time = std::chrono::steady_clock::time_point;

    explicit InputMeter(Time start) : _total(start), _period(start) {}

    /// `time` is when it was read.
    void noteReport(Time time, std::size_t bytes);

    /// What has come since the last call, or since the start. An interval belongs to the period in which it ends.
    InputFigures takePeriod(Time now);
    /// What has come since the start.
    InputFigures total(Time now) const { return _total.figures(now); }

private:
    /// Sums that need no list of what was summed up.
    struct Sums {
        explicit Sums(Time begin) : start(begin) {}
        void addInterval(double milliseconds);
        InputFigures figures(Time now) const;

        Time start;
        std::uint64_t reports = 0;
        std::uint64_t bytes = 0;
        std::uint64_t intervals = 0;
        double meanMs = 0;
        /// Sum of the squares of the distances from the mean.
        double squares = 0;
        double longestMs = 0;
    };

    Sums _total;
    Sums _period;
    std::optional<Time> _last;
};

} // namespace qrxhid
