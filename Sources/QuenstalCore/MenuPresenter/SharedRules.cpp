#include "QuenstalCore/MenuPresenter/SharedRules.hpp"

#include "QuenstalCore/ProgrammingError.hpp"

#include <algorithm>
#include <cmath>

namespace quenstal::presenter {

std::int64_t levelPercent(const VolumeSnapshot& volume)
{
    // 2^63 is the first double beyond the range; its negative is the last one within.
    constexpr double beyond = 9223372036854775808.0;
    const double percent = std::round(volume.level * 100);
    if (!(percent >= -beyond && percent < beyond))
        programmingError("The volume level has no percentage.");
    return static_cast<std::int64_t>(percent);
}

std::string statusTitle(const QuenstalState& state)
{
    if (!state.isEnabled)
        return "Off";
    if (state.volume.isMuted)
        return "Muted";
    return std::to_string(levelPercent(state.volume)) + "%";
}

std::optional<std::string> primaryDiagnostic(const QuenstalState& state)
{
    const auto& issues = state.diagnostics;
    if (!state.isEnabled || issues.empty())
        return std::nullopt;
    const auto firstError = std::ranges::find(issues, DiagnosticSeverity::error, &DiagnosticIssue::severity);
    return firstError != issues.end() ? firstError->message : issues.front().message;
}

} // namespace quenstal::presenter
