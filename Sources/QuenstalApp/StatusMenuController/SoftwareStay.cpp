#include "QuenstalApp/StatusMenuController/SoftwareStay.hpp"

namespace quenstal {

namespace {

double audibleLevel(const VolumeSnapshot& volume)
{
    return volume.isMuted ? 0 : volume.level;
}

} // namespace

bool SoftwareStay::follow()
{
    const QuenstalState& state = controller_->state();
    if (state.mode.is<ControlMode::SoftwareTap>()) {
        remain(state);
        return false;
    }
    const bool hasLeft = stay_ && state.outputDevice && stay_->output.id == state.outputDevice->id;
    if (!hasLeft)
        return false;
    const bool isCarriedOver = state.mode.is<ControlMode::HardwareDDC>() && carryOver(*stay_);
    // A monitor that did not take it leaves the output where it was.
    if (!controller_->state().mode.is<ControlMode::SoftwareTap>()) {
        controller_->shutdown();
        stay_.reset();
    }
    return isCarriedOver;
}

void SoftwareStay::remain(const QuenstalState& state)
{
    if (!state.outputDevice)
        return;
    if (!stay_ || stay_->output.id != state.outputDevice->id)
        stay_ = Stay{*state.outputDevice, state.volume};
    stay_->isChosen |= stay_->volume != state.volume;
    stay_->volume = state.volume;
}

bool SoftwareStay::carryOver(const Stay& stay)
{
    if (!stay.isChosen || audibleLevel(controller_->state().volume) <= audibleLevel(stay.volume))
        return false;
    desk_->handle(VolumeCommand::setLevel(stay.volume.level));
    if (stay.volume.isMuted)
        desk_->handle(VolumeCommand::setMuted(true));
    return true;
}

} // namespace quenstal
