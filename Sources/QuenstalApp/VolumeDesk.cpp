#include "QuenstalApp/VolumeDesk.hpp"

#include "QuenstalCore/QuenstalController/OutputKey.hpp"

#include <utility>

namespace quenstal {

namespace {

double audibleLevel(const VolumeSnapshot& volume)
{
    return volume.isMuted ? 0 : volume.level;
}

std::string outputOf(const QuenstalState& state)
{
    return state.outputDevice ? outputKey(*state.outputDevice) : std::string();
}

} // namespace

bool VolumeDesk::handle(const VolumeCommand& command)
{
    // Asked for earlier: a step starts from what it leaves.
    makeUpForLostWrite();
    return apply(command);
}

void VolumeDesk::makeUpForLostWrite()
{
    if (!displayBusHealth_.takeLostWrite() || !written_)
        return;
    const Written lost = *std::exchange(written_, std::nullopt);
    controller_->refresh();
    if (!isWhereItWasMeantFor(lost))
        return;
    const double present = audibleLevel(controller_->state().volume);
    const double wanted = audibleLevel(lost.wanted);
    if (wanted < present || wanted > audibleLevel(lost.before))
        apply(lost.wanted);
}

bool VolumeDesk::isWhereItWasMeantFor(const Written& lost) const
{
    const QuenstalState& state = controller_->state();
    const bool isAnotherMonitor = state.mode.is<ControlMode::HardwareDDC>() && state.mode != lost.mode;
    return outputOf(state) == lost.output && !isAnotherMonitor;
}

bool VolumeDesk::apply(const VolumeCommand& command)
{
    const VolumeSnapshot before = controller_->state().volume;
    const bool isApplied = controller_->handle(command).is<VolumeCommandResult::Applied>();
    const QuenstalState& state = controller_->state();
    if (isApplied && state.mode.is<ControlMode::HardwareDDC>())
        written_ = Written{outputOf(state), state.mode, before, state.volume};
    return isApplied;
}

void VolumeDesk::apply(const VolumeSnapshot& wanted)
{
    // The level of a mute is where unmuting leads to; it must not be heard on the way.
    if (!wanted.isMuted || wanted.level < audibleLevel(controller_->state().volume))
        apply(VolumeCommand::setLevel(wanted.level));
    if (wanted.isMuted)
        apply(VolumeCommand::setMuted(true));
}

} // namespace quenstal
