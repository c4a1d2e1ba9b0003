#include "QuenstalApp/NativeAdapters/Problems.hpp"

#include "QuenstalApp/PresentableText.hpp"

namespace quenstal {

std::vector<DisplayBusProblem> monitorProblems(const MonitorWatch& monitorWatch)
{
    std::vector<DisplayBusProblem> problems = monitorWatch.problems();
    for (DisplayBusProblem& problem : problems) {
        problem.monitor = presentable(problem.monitor);
        problem.device = presentable(problem.device);
    }
    return problems;
}

std::optional<PreferencesProblem> preferencesProblem(const Preferences& preferences)
{
    std::optional<PreferencesProblem> problem = preferences.problem();
    if (problem)
        problem->file = presentable(problem->file, longestSentence);
    return problem;
}

} // namespace quenstal
