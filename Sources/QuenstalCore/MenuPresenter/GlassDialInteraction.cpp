#include "QuenstalCore/MenuPresenter/GlassDialInteraction.hpp"

#include "QuenstalCore/ProgrammingError.hpp"

#include <algorithm>

namespace quenstal {

namespace {

constexpr std::int64_t smallStep = 2;
constexpr std::int64_t bigStep = 10;

std::int64_t clampPercent(std::int64_t percent)
{
    return std::clamp<std::int64_t>(percent, 0, 100);
}

} // namespace

VolumeCommand GlassDialInteraction::command(std::int64_t volumePercent)
{
    return VolumeCommand::setLevel(static_cast<double>(clampPercent(volumePercent)) / 100);
}

VolumeCommand GlassDialInteraction::muteCommand()
{
    return VolumeCommand::toggleMute();
}

std::int64_t GlassDialInteraction::steppedPercent(std::int64_t from, GlassDialStepDirection direction, bool largeStep)
{
    const std::int64_t size = largeStep ? bigStep : smallStep;
    const std::int64_t step = direction == GlassDialStepDirection::up ? size : -size;
    std::int64_t stepped = 0;
    if (__builtin_add_overflow(from, step, &stepped))
        programmingError("The stepped percent does not fit 64 bits.");
    return clampPercent(stepped);
}

} // namespace quenstal
