// Ratios of medians instead of times: a machine's speed cancels out, and a single slow run does not matter.

#include "RatioReporter.h"

#include <algorithm>
#include <cstdio>

void RatioReporter::addRatio(const std::string& what, const std::string& name, const std::string& floor, double limit)
{
    _ratios.push_back({what, name, floor, limit});
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        // Aggregates of repetitions are left out; the median is taken here.
        if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
            // By name and arguments alone: the whole name also has the options, which are the same for all.
            _times[run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args)].push_back(
                run.GetAdjustedRealTime());
        }
    }
    ConsoleReporter::ReportRuns(runs);
}

double RatioReporter::medianOf(const std::string& name) const
{
    const auto found = _times.find(name);
    if (found == _times.end()) {
        return 0;
    }
    std::vector<double> times = found->second;
    // The median, which a few runs that were interrupted do not move.
    std::ranges::nth_element(times, times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2));
    return times[times.size() / 2];
}

void RatioReporter::Finalize()
{
    std::printf("\n%-58s %8s %8s\n", "ratio of medians", "measured", "at most");
    for (const Ratio& ratio : _ratios) {
        const double floor = medianOf(ratio.floor);
        // A benchmark that a filter has left out has no time, and so no ratio.
        if (floor > 0) {
            std::printf("%-58s %8.2f %8.2f\n", ratio.what.c_str(), medianOf(ratio.name) / floor, ratio.limit);
        }
    }
}
