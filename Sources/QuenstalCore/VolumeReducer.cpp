#include "QuenstalCore/VolumeReducer.hpp"

#include <algorithm>

namespace quenstal {

namespace {

using Result = VolumeReducer::Result;

constexpr auto clamp = VolumeSnapshot::clamp;

Result audible(double level)
{
    return {{level, false}, level};
}

Result silenceOrAudible(double level, double restoreLevel)
{
    if (level == 0)
        return {{0, true}, restoreLevel};
    return audible(level);
}

Result muted(const VolumeSnapshot& current, double restoreLevel)
{
    // The raw level is remembered: a port may have reported one outside the range.
    return {{current.level, true}, current.level > 0 ? current.level : restoreLevel};
}

Result unmuted(double restoreLevel)
{
    return audible(restoreLevel);
}

} // namespace

VolumeReducer::VolumeReducer(double stepSize)
    : stepSize_(clamp(stepSize))
{
}

Result VolumeReducer::reduce(const VolumeSnapshot& current, const VolumeCommand& command, double lastAudibleLevel) const
{
    const double restoreLevel = std::max(clamp(lastAudibleLevel), stepSize_);
    const double base = current.isMuted ? restoreLevel : current.level;

    return command.match(
        [&](const VolumeCommand::SetLevel& set) { return silenceOrAudible(clamp(set.level), restoreLevel); },
        [&](const VolumeCommand::SetMuted& set) {
            return set.muted ? muted(current, restoreLevel) : unmuted(restoreLevel);
        },
        // Stepping up never mutes, not even with a step of zero from silence.
        [&](const VolumeCommand::StepUp&) { return audible(clamp(base + stepSize_)); },
        [&](const VolumeCommand::StepDown&) { return silenceOrAudible(clamp(base - stepSize_), restoreLevel); },
        [&](const VolumeCommand::ToggleMute&) {
            return current.isMuted ? unmuted(restoreLevel) : muted(current, restoreLevel);
        });
}

} // namespace quenstal
