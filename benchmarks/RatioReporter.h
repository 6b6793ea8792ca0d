#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/// Prints the usual table, then the ratio of each pair of figures that belong together, so that a claim reads off one
/// run: medians of repetitions that were interleaved, on a machine whose speed drifts.
class RatioReporter final : public benchmark::ConsoleReporter {
public:
    /// "`what`: `name` / `floor` = ..., at most `limit`" is printed at the end.
    void addRatio(const std::string& what, const std::string& name, const std::string& floor, double limit);

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

private:
    struct Ratio {
        std::string what, name, floor;
        double limit;
    };
    double medianOf(const std::string& name) const;

    std::vector<Ratio> _ratios;
    std::map<std::string, std::vector<double>> _times;
};
