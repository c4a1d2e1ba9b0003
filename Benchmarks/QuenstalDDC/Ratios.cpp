#include "Ratios.hpp"

#include <algorithm>

namespace quenstal {

bool RatioReporter::ReportContext(const Context& context)
{
    PrintBasicContext(&GetErrorStream(), context);
    return true;
}

void RatioReporter::ReportRuns(const std::vector<Run>& runs)
{
    for (const Run& run : runs) {
        if (run.run_type != Run::RT_Iteration || run.error_occurred)
            continue;
        const double nanoseconds = run.cpu_accumulated_time / static_cast<double>(run.iterations) * 1e9;
        times_[run.run_name.function_name].push_back(nanoseconds / run.counters.at("frames"));
    }
}

const std::vector<double>& RatioReporter::times(const std::string& name) const
{
    static const std::vector<double> none;
    const auto found = times_.find(name);
    return found == times_.end() ? none : found->second;
}

Spread spreadOf(std::vector<double> values)
{
    if (values.empty())
        return {};
    std::ranges::sort(values);
    return {values.front(), values[values.size() / 2], values.back()};
}

Spread ratioOf(const std::vector<double>& first, const std::vector<double>& second)
{
    std::vector<double> ratios;
    for (std::size_t i = 0; i < std::min(first.size(), second.size()); ++i)
        ratios.push_back(first[i] / second[i]);
    return spreadOf(ratios);
}

} // namespace quenstal
