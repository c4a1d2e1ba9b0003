// Long random lives of a controller over a machine that changes and breaks at random. Whatever happens, every
// operation must leave a state that the rules allow; the rules are written here a second time, from outside.

#include "QuenstalCore/Controller/ControllerTest.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <stdexcept>
#include <vector>

namespace quenstal {
namespace {

/// Fixed seeds only: a failure can be repeated.
class Chance {
public:
    explicit Chance(std::uint32_t seed)
        : engine_(seed)
    {
    }
    std::size_t below(std::size_t bound) { return engine_() % bound; }
    bool oneIn(std::size_t n) { return below(n) == 0; }
    double level() { return static_cast<double>(below(17)) / 16; }
    template <typename T>
    const T& oneOf(const std::vector<T>& choices)
    {
        return choices[below(choices.size())];
    }

private:
    std::mt19937 engine_;
};

VolumeCommand anyCommand(Chance& chance)
{
    const std::vector<double> oddLevels{-1, 0, 1, 1.7, std::nan(""), std::numeric_limits<double>::infinity()};
    const std::vector<VolumeCommand> commands{VolumeCommand::setLevel(chance.level()),
        VolumeCommand::setLevel(chance.oneOf(oddLevels)), VolumeCommand::setMuted(true), VolumeCommand::setMuted(false),
        VolumeCommand::stepUp(), VolumeCommand::stepDown(), VolumeCommand::toggleMute()};
    return chance.oneOf(commands);
}

bool asksFor(const Calls& calls, const std::vector<std::string>& prefixes)
{
    return std::ranges::any_of(calls, [&](const std::string& call) {
        return std::ranges::any_of(prefixes, [&](const std::string& prefix) { return call.starts_with(prefix); });
    });
}

const std::vector<std::string> volumeReads{"system.readVolume", "ddc.readVolume", "software.readVolume"};
const std::vector<std::string> volumeWrites{"system.setVolume", "ddc.setVolume", "software.setVolume"};

struct RandomOperationsTest : ControllerTest, testing::WithParamInterface<std::uint32_t> {
    Chance chance{GetParam()};
    std::set<Call> broken;

    /// Each call fails for a whole operation or not at all, so that the operation sees one machine.
    void changeTheMachine()
    {
        if (chance.oneIn(3))
            ports.device = chance.oneOf<std::optional<AudioOutputDevice>>({std::nullopt, speakers(), dock(), monitor(),
                monitor(), AudioOutputDevice{"dp", "DP", AudioTransport::displayPort, chance.oneIn(4), ""}});
        if (chance.oneIn(3))
            ports.display = chance.oneOf<std::optional<DisplayControlTarget>>(
                {std::nullopt, panel(), panel(), DisplayControlTarget{"mute", "M", true, false}});
        if (chance.oneIn(4))
            ports.permissions = {anyStatus(), anyStatus()};
        if (chance.oneIn(4))
            ports.softwareAvailable = !chance.oneIn(4);
        if (chance.oneIn(4))
            ports.systemVolume = {chance.level(), chance.oneIn(3)};
        if (chance.oneIn(4))
            ports.ddcVolume = {chance.level(), chance.oneIn(3)};
        if (chance.oneIn(4))
            ports.softwareVolume = {chance.level(), chance.oneIn(3)};
        if (chance.oneIn(4))
            ports.store->setSoftwareProcessingPreferred(chance.oneIn(2), chance.oneIn(2) ? "monitor-uid" : "dp");
        ports.levels = {chance.level(), chance.level(), chance.level(), chance.level(), chance.oneIn(2)};

        ports.behave();
        broken.clear();
        for (const Call call : everyCall) {
            if (!chance.oneIn(8))
                continue;
            broken.insert(call);
            if (chance.oneIn(2))
                ports.failWith(call, QuenstalError::commandFailed("refused"));
            else
                ports.failWith(call, 42);
        }
    }

    PermissionStatus anyStatus()
    {
        using enum PermissionStatus;
        return chance.oneOf<PermissionStatus>({granted, granted, denied, notDetermined});
    }

    bool works(Call call) const { return !broken.contains(call); }

    /// What the selector says about the machine as it is now.
    ModeSelection expectedSelection(const PermissionState& lastPermissions)
    {
        const auto device = works(Call::defaultOutputDevice) ? ports.device : std::nullopt;
        const auto display = device && works(Call::displayTarget) ? ports.display : std::nullopt;
        const auto permissions = works(Call::currentPermissionState) ? ports.permissions : lastPermissions;
        const std::string key = !device                 ? ""
            : device->coreAudioUID.value_or("").empty() ? device->id
                                                        : *device->coreAudioUID;
        return ModeSelector().selectMode(device, display, permissions,
            works(Call::isAvailable) && ports.softwareAvailable,
            works(Call::softwareProcessingPreferred) && ports.store->softwareProcessingPreferred(key));
    }

    QuenstalState anyOperation(QuenstalController& controller)
    {
        switch (chance.below(12)) {
        case 0:
            return controller.setEnabled(!chance.oneIn(4));
        case 1:
            return chance.oneIn(2) ? controller.toggleEnabled() : controller.refresh();
        case 2:
            return controller.switchCurrentOutputToSoftwareProcessing();
        case 3:
            return controller.setEQEnabled(chance.oneIn(2));
        case 4:
            return controller.selectEQPreset(chance.oneOf<EQPresetName>({EQPresetName::voice, EQPresetName::custom}));
        case 5:
            return controller.updateEQBand(static_cast<std::int64_t>(chance.below(6)), chance.level() * 30 - 10);
        case 6:
            return controller.updateEQPreamp(chance.oneIn(2) ? 0 : chance.level() * 30 - 15);
        case 7:
            return controller.resetEQProfile();
        case 8:
            return controller.refresh();
        default:
            return controller.handle(anyCommand(chance)).match([](const auto& result) { return result.state; });
        }
    }

    void expectTheRules(const QuenstalController& controller, const QuenstalState& before, const Calls& calls)
    {
        const QuenstalState& state = controller.state();
        EXPECT_EQ(state.isEnabled, controller.isEnabled());
        EXPECT_EQ(state.mode.is<ControlMode::Disabled>(), !controller.isEnabled());
        EXPECT_TRUE(std::isfinite(controller.lastAudibleLevel()) && controller.lastAudibleLevel() > 0);
        EXPECT_EQ(state.volume, VolumeSnapshot(state.volume.level, state.volume.isMuted));

        const ModeSelection selection = expectedSelection(before.permissions);
        expectTheMode(state, selection);
        expectTheIssues(state, selection);
        expectTheProcessing(state);
        // Only a band edit itself shows the hint, and refreshes keep it only while enabled.
        EXPECT_TRUE(!state.audioProcessing.boostHintVisible || asksFor(calls, {"saveProfile(custom -2"}));
        if (!state.mode.isControllable()) {
            EXPECT_FALSE(asksFor(calls, volumeWrites));
            EXPECT_FALSE(asksFor(calls, {"setEQProfile", "readLevels"}));
            // A switch may have read it on the path that it left.
            EXPECT_TRUE(state.volume == before.volume || asksFor(calls, volumeReads));
        }
        if (state.mode.is<ControlMode::Disabled>()) {
            EXPECT_FALSE(asksFor(calls, {"system.", "ddc.", "software.", "softwareProcessingPreferred"}));
        }
    }

    static void expectTheMode(const QuenstalState& state, const ModeSelection& selection)
    {
        if (!state.isEnabled)
            return;
        const bool fellBack
            = !state.diagnostics.empty() && state.diagnostics.back().code == DiagnosticCode::ddcCommandFailed;
        EXPECT_TRUE(!fellBack || selection.mode.is<ControlMode::HardwareDDC>());
        EXPECT_EQ(state.mode, fellBack ? ControlMode::softwareTap(state.outputDevice->id) : selection.mode);
    }

    static void expectTheIssues(const QuenstalState& state, const ModeSelection& selection)
    {
        const auto chosen = state.isEnabled ? selection.diagnostics : std::vector<DiagnosticIssue>();
        ASSERT_GE(state.diagnostics.size(), chosen.size());
        ASSERT_LE(state.diagnostics.size(), chosen.size() + 1);
        EXPECT_TRUE(std::equal(chosen.begin(), chosen.end(), state.diagnostics.begin()));
        if (state.diagnostics.size() == chosen.size())
            return;
        const std::set<std::string> appended{"Volume command ignored because this output is not controllable.",
            "Volume command failed.", "Monitor hardware volume failed, so Quenstal switched to software volume.",
            "Software processing could not be started for EQ.",
            "Software volume could not be restored after enabling Quenstal."};
        EXPECT_TRUE(appended.contains(state.diagnostics.back().message)) << state.diagnostics.back().message;
    }

    void expectTheProcessing(const QuenstalState& state)
    {
        const AudioProcessingState& processing = state.audioProcessing;
        const bool runs = state.mode.is<ControlMode::SoftwareTap>();
        EXPECT_EQ(isAvailable(processing.diagnostic), runs);
        EXPECT_EQ(processing.levels, runs && works(Call::readLevels) ? ports.levels : SoundLevelSnapshot::zero());
        const bool isMonitor = state.outputDevice && isExternalDisplayLike(state.outputDevice->transport);
        EXPECT_EQ(
            processing.canSwitchToSoftware, !runs && isMonitor && works(Call::isAvailable) && ports.softwareAvailable);
        EXPECT_EQ(processing.profile.bands.size(), 5U);
    }
};

TEST_P(RandomOperationsTest, everyOperationLeavesAStateThatTheRulesAllow)
{
    changeTheMachine();
    auto& controller = start({chance.level(), chance.oneIn(2)});
    int hints = 0;
    for (int i = 0; i < 2000 && !HasFailure(); ++i) {
        SCOPED_TRACE("operation " + std::to_string(i));
        changeTheMachine();
        const QuenstalState before = controller.state();
        ports.takeCalls();

        const QuenstalState returned = anyOperation(controller);
        EXPECT_EQ(returned, controller.state());
        expectTheRules(controller, before, ports.takeCalls());
        if (controller.state().audioProcessing.boostHintVisible && !before.audioProcessing.boostHintVisible)
            ++hints;
        const std::string report = controller.exportedDiagnostics();
        EXPECT_EQ(std::ranges::count(report, '\n'), std::ssize(controller.state().diagnostics));
        controller.dismissEQBoostHint();
    }
    // Once per launch, and often enough to happen in every one of these lives.
    EXPECT_EQ(hints, 1);
}

INSTANTIATE_TEST_SUITE_P(FixedSeeds, RandomOperationsTest, testing::Range(1U, 9U));

} // namespace
} // namespace quenstal
