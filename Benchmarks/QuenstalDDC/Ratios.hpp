#pragma once

#include <map>
#include <string>
#include <vector>

#include <benchmark/benchmark.h>

namespace quenstal {

/// Keeps every repetition's time, so that a ratio is one of two times of the same round and not of two averages.
class RatioReporter final : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;

    /// Nanoseconds a frame in each repetition; empty when it did not run. `frames` is the counter of that name.
    const std::vector<double>& times(const std::string& name) const;

private:
    std::map<std::string, std::vector<double>> times_;
};

/// Least, median and largest of some values.
struct Spread {
    double least;
    double median;
    double largest;
};

Spread spreadOf(std::vector<double> values);

/// Repetition by repetition, how many times as long the first took as the second.
Spread ratioOf(const std::vector<double>& first, const std::vector<double>& second);

} // namespace quenstal
