#include "QuenstalApp/VolumeDesk.hpp"

#include "QuenstalCore/MenuPresenter.hpp"
#include "QuenstalCore/QuenstalController/OutputKey.hpp"

#include <utility>

namespace quenstal {

namespace {

double audibleLevel(const VolumeSnapshot& volume)
{
    return volume.isMuted ? 0 : volume.level;
}

} // namespace

VolumeDesk::Order::Commands VolumeDesk::Order::always(const VolumeCommand& command, std::size_t times)
{
    return [command, times](const QuenstalState&) { return std::vector(times, command); };
}

VolumeDesk::VolumeDesk(RunLoop& runLoop, MonitorWatch& monitorWatch, std::shared_ptr<QuenstalController> controller)
    : monitorWatch_(monitorWatch)
    , controller_(std::move(controller))
    , tasks_(runLoop)
{
    followPath();
}

std::string VolumeDesk::outputOf(const QuenstalState& state)
{
    return state.outputDevice ? outputKey(*state.outputDevice) : std::string();
}

void VolumeDesk::carryOut(Order order)
{
    const bool startsFromKnob = order.origin != Origin::panel && isOn<ControlMode::HardwareDDC>();
    auto task = [this, order = std::move(order)] { perform([this, order] { serve(order); }); };
    if (startsFromKnob)
        monitorWatch_.afterFreshRead(tasks_.whileOwned(std::move(task)));
    else
        task();
}

void VolumeDesk::scheduleRefresh()
{
    if (std::exchange(isRefreshScheduled_, true))
        return;
    tasks_.post([this] { refreshAtOnce(); });
}

void VolumeDesk::refreshAtOnce()
{
    isRefreshScheduled_ = false;
    refresh();
}

void VolumeDesk::perform(RunLoop::Task task)
{
    if (isBusy_)
        return tasks_.post([this, task = std::move(task)] { perform(task); });
    isBusy_ = true;
    // It was requested earlier: a step starts from its result.
    makeUpForLostWrite();
    task();
    isBusy_ = false;
}

void VolumeDesk::serve(const Order& order)
{
    const bool isKey = order.origin == Origin::key;
    if (isKey && !controller_->isEnabled())
        return giveKeyFeedback(false);
    read();
    std::vector<VolumeCommand> commands;
    if (!order.output || *order.output == outputOf(state()))
        commands = order.commands(state());
    bool isApplied = false;
    for (const VolumeCommand& command : commands)
        isApplied = handle(command);
    followPath();
    // However many keys are pressed, the panel is refreshed once.
    if (isKey && !commands.empty())
        scheduleRefresh();
    else
        publish();
    if (isKey)
        giveKeyFeedback(isApplied);
}

void VolumeDesk::read()
{
    controller_->refresh();
    followPath();
}

bool VolumeDesk::handle(const VolumeCommand& command)
{
    const VolumeSnapshot before = state().volume;
    if (!controller_->handle(command).is<VolumeCommandResult::Applied>())
        return false;
    if (isOn<ControlMode::HardwareDDC>())
        written_ = Written{outputOf(state()), state().mode, before, state().volume};
    if (isOn<ControlMode::SoftwareTap>())
        stay_ = Stay{outputOf(state()), state().volume};
    return true;
}

void VolumeDesk::set(const VolumeSnapshot& wanted)
{
    // The level of a mute is where unmuting leads to; it must not be heard on the way.
    if (!wanted.isMuted || wanted.level < audibleLevel(state().volume))
        handle(VolumeCommand::setLevel(wanted.level));
    if (wanted.isMuted)
        handle(VolumeCommand::setMuted(true));
}

/// A command that a monitor accepted and lost is carried out after all: on the output and the monitor that it was meant
/// for, and on no other. It makes nothing louder than what was asked for, and nothing louder at all when that was less.
void VolumeDesk::makeUpForLostWrite()
{
    if (!monitorWatch_.takeLostWrite() || !written_)
        return;
    const Written lost = *std::exchange(written_, std::nullopt);
    read();
    if (!isWhereItWasMeantFor(lost))
        return;
    const double wanted = audibleLevel(lost.wanted);
    if (wanted < audibleLevel(state().volume) || wanted > audibleLevel(lost.before))
        set(lost.wanted);
}

bool VolumeDesk::isWhereItWasMeantFor(const Written& lost) const
{
    const bool isAnotherMonitor = isOn<ControlMode::HardwareDDC>() && state().mode != lost.mode;
    return outputOf(state()) == lost.output && !isAnotherMonitor;
}

void VolumeDesk::followPath()
{
    const std::string output = outputOf(state());
    if (isOn<ControlMode::SoftwareTap>()) {
        if (!stay_ || stay_->output != output)
            stay_ = Stay{output, std::nullopt};
    } else if (stay_ && stay_->output == output) {
        leaveSoftwarePath();
    }
}

/// A monitor that answers again is not louder than what was chosen while it did not. The session ends: its gain would
/// multiply with the volume of the path after it.
void VolumeDesk::leaveSoftwarePath()
{
    const std::optional<VolumeSnapshot> chosen = stay_->chosen;
    if (chosen && isOn<ControlMode::HardwareDDC>() && audibleLevel(*chosen) < audibleLevel(state().volume))
        set(*chosen);
    // A monitor that did not take it leaves the output where it was.
    if (isOn<ControlMode::SoftwareTap>())
        return;
    controller_->shutdown();
    stay_.reset();
}

void VolumeDesk::publish()
{
    observers_.call(state());
}

void VolumeDesk::giveKeyFeedback(bool isApplied)
{
    const GlassDialSnapshot snapshot(state());
    KeyFeedback feedback{snapshot.statusSymbolName, snapshot.statusTitle, std::nullopt, snapshot.outputName};
    if (isApplied)
        feedback.percent = static_cast<int>(snapshot.levelPercent);
    else
        feedback.text = snapshot.primaryDiagnostic.value_or(snapshot.modeLabel);
    presenters_.call(feedback);
}

} // namespace quenstal
