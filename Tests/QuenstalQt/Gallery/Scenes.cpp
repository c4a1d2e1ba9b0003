#include "Gallery/Scenes.hpp"

#include "QuenstalCore/ModeSelector.hpp"

namespace quenstal::gallery {

namespace {

using Screen = GlassDialViewState::Screen;

AudioOutputDevice monitorOutput()
{
    return {"hdmi-1", "Desk Monitor 27", AudioTransport::hdmi, false, "hdmi-uid"};
}

QuenstalState softwareState()
{
    QuenstalState state;
    state.outputDevice = monitorOutput();
    state.permissions = PermissionState::allGranted();
    state.mode = ControlMode::softwareTap("hdmi-1");
    state.volume = VolumeSnapshot(0.42, false);
    state.audioProcessing.diagnostic = AudioProcessingDiagnostic::softwareAvailable;
    state.audioProcessing.profile = EQProfile(true, EQPresetName::movie, -3);
    state.audioProcessing.levels = SoundLevelSnapshot(0.14, 0.09, 0.46, 0.30, false);
    return state;
}

QuenstalState hardwareState()
{
    QuenstalState state = softwareState();
    state.displayTarget = DisplayControlTarget{"card1-HDMI-A-1", "Desk Monitor 27", true, true};
    state.mode = ControlMode::hardwareDDC("card1-HDMI-A-1");
    state.audioProcessing.diagnostic = AudioProcessingDiagnostic::ddcHardwareMode;
    state.audioProcessing.canSwitchToSoftware = true;
    return state;
}

QuenstalState systemState()
{
    QuenstalState state;
    state.outputDevice
        = AudioOutputDevice{"built-in", "Built-in Audio Analog Stereo", AudioTransport::builtIn, true, {}};
    state.permissions = PermissionState::allGranted();
    state.mode = ControlMode::systemVolume("built-in");
    state.volume = VolumeSnapshot(0.68, false);
    state.audioProcessing.diagnostic = AudioProcessingDiagnostic::systemVolumeMode;
    return state;
}

QuenstalState outputlessState()
{
    QuenstalState state;
    state.permissions = PermissionState::allGranted();
    state.mode = ControlMode::disabled();
    return state;
}

/// What the mode selector itself would say about this output.
QuenstalState selected(QuenstalState state, bool softwareAvailable)
{
    const ModeSelection selection = ModeSelector{}.selectMode(
        state.outputDevice, state.displayTarget, state.permissions, softwareAvailable, false);
    state.mode = selection.mode;
    state.diagnostics = selection.diagnostics;
    return state;
}

QuenstalState with(QuenstalState state, const std::function<void(QuenstalState&)>& change)
{
    change(state);
    return state;
}

std::function<void(GlassDialViewState&)> showing(Screen screen)
{
    return [screen](GlassDialViewState& state) { state.setScreen(screen); };
}

void addDialScenes(std::vector<Scene>& scenes)
{
    scenes.push_back({"dial-software", softwareState()});
    scenes.push_back({"dial-hardware", hardwareState()});
    scenes.push_back({"dial-system", systemState()});
    scenes.push_back(
        {"dial-muted", with(softwareState(), [](auto& state) { state.volume = VolumeSnapshot(0.42, true); })});
    scenes.push_back({"dial-silent", with(softwareState(), [](auto& state) {
                          state.volume = VolumeSnapshot(0, false);
                          state.audioProcessing.profile = EQProfile::defaultProfile();
                      })});
    scenes.push_back(
        {"dial-full", with(hardwareState(), [](auto& state) { state.volume = VolumeSnapshot(1, false); })});
    scenes.push_back({"dial-disabled", with(softwareState(), [](auto& state) {
                          state.isEnabled = false;
                          state.mode = ControlMode::disabled();
                      })});
    scenes.push_back({"dial-banner", selected(softwareState(), true)});
    scenes.push_back({"dial-no-output", selected(outputlessState(), false)});
    scenes.push_back({"dial-no-permission",
        selected(with(softwareState(),
                     [](auto& state) {
                         state.permissions = {PermissionStatus::denied, PermissionStatus::denied};
                         state.audioProcessing.diagnostic = AudioProcessingDiagnostic::permissionDenied;
                     }),
            true)});
    scenes.push_back({"dial-keys-denied",
        selected(with(systemState(), [](auto& state) { state.permissions.accessibility = PermissionStatus::denied; }),
            false)});
    scenes.push_back({"dial-more", softwareState(), [](auto& state) { state.setShowsMoreActions(true); }});
    scenes.push_back({"dial-focus", softwareState(), {}, {}, true});
    scenes.push_back({.name = "dial-no-compositor", .state = softwareState(), .hasCompositor = false});
}

void addEqualizerScenes(std::vector<Scene>& scenes)
{
    scenes.push_back({"equalizer", softwareState(), [](auto& state) {
                          state.setScreen(Screen::equalizer);
                          state.setFocusedEQBandID(2);
                      }});
    scenes.push_back({"equalizer-off",
        with(softwareState(),
            [](auto& state) {
                state.audioProcessing.profile = EQProfile(false, EQPresetName::night, 0);
                state.audioProcessing.levels = SoundLevelSnapshot::zero();
            }),
        showing(Screen::equalizer)});
    scenes.push_back({"equalizer-hint",
        with(softwareState(),
            [](auto& state) {
                state.audioProcessing.profile = EQProfile(true, EQPresetName::flat, -2).settingBand(1, 6.5);
                state.audioProcessing.boostHintVisible = true;
            }),
        showing(Screen::equalizer)});
    scenes.push_back({"equalizer-clipping",
        with(softwareState(),
            [](auto& state) {
                EQProfile profile(true, EQPresetName::custom, 6);
                for (int band = 0; band < 5; ++band)
                    profile = profile.settingBand(band, 12);
                state.audioProcessing.profile = profile;
                state.audioProcessing.levels = SoundLevelSnapshot(0.9, 0.98, 1, 1, true);
            }),
        showing(Screen::equalizer)});
    scenes.push_back({"equalizer-hardware", hardwareState(), showing(Screen::equalizer)});
    scenes.push_back({"equalizer-system", systemState(), showing(Screen::equalizer)});
    scenes.push_back({"equalizer-permission",
        with(softwareState(),
            [](auto& state) {
                state.permissions.systemAudioCapture = PermissionStatus::denied;
                state.audioProcessing.diagnostic = AudioProcessingDiagnostic::permissionDenied;
                state.audioProcessing.canSwitchToSoftware = true;
            }),
        showing(Screen::equalizer)});
    scenes.push_back({"equalizer-reset", softwareState(), showing(Screen::equalizer),
        Alert{"Reset equalizer?", "This restores the Flat preset for the current output.", {"Reset", "Cancel"}}});
}

constexpr const char* takenKeys = "Another program, usually the desktop itself, is using the volume keys. In the "
                                  "desktop's settings, remove the keyboard shortcuts for \"Raise volume\", \"Lower "
                                  "volume\" and \"Mute\". Quenstal will capture the keys as soon as they are free.";

DisplayBusProblem deniedMonitor()
{
    return {DisplayBusProblem::Kind::accessDenied, "/dev/i2c-5", "Desk Monitor 27",
        "Install the package: its udev rule 70-quenstal-i2c.rules gives access to the user of the active session."};
}

void addSetupScenes(std::vector<Scene>& scenes)
{
    scenes.push_back({"setup-start",
        with(hardwareState(),
            [](auto& state) {
                state.permissions = {PermissionStatus::denied, PermissionStatus::denied};
                state.audioProcessing.diagnostic = AudioProcessingDiagnostic::permissionDenied;
            }),
        showing(Screen::setup)});
    scenes.push_back({"setup-advice",
        with(hardwareState(),
            [](auto& state) {
                state.permissions = {PermissionStatus::denied, PermissionStatus::granted};
            }),
        [](auto& state) {
            state.setScreen(Screen::setup);
            state.setCaptureAdvice(takenKeys);
        }});
    scenes.push_back({"setup-monitor", softwareState(), [](auto& state) {
                          state.setScreen(Screen::setup);
                          state.setMonitorProblems({deniedMonitor()});
                      }});
    scenes.push_back({"setup-keys-and-monitor",
        with(softwareState(),
            [](auto& state) {
                state.permissions = {PermissionStatus::denied, PermissionStatus::granted};
            }),
        [](auto& state) {
            state.setScreen(Screen::setup);
            state.setCaptureAdvice(takenKeys);
            state.setMonitorProblems({deniedMonitor()});
        }});
    scenes.push_back({"setup-done", softwareState(), [](auto& state) {
                          state.setScreen(Screen::setup);
                          state.updateMediaKeyCapture(true, "F11 volume down at 14:03:27");
                      }});
    scenes.push_back({"setup-built-in", systemState(), showing(Screen::setup)});
}

} // namespace

const std::vector<Scene>& scenes()
{
    static const std::vector<Scene> all = [] {
        std::vector<Scene> list;
        addDialScenes(list);
        addEqualizerScenes(list);
        addSetupScenes(list);
        return list;
    }();
    return all;
}

const std::vector<NamedFeedback>& feedbacks()
{
    static const std::vector<NamedFeedback> all{
        {"feedback-level", {"speaker.wave.2.fill", "48%", 48, "Desk Monitor 27"}},
        {"feedback-muted", {"speaker.slash.fill", "Muted", 48, "Desk Monitor 27"}},
        {"feedback-ignored",
            {"speaker.fill", "", {}, "Volume command ignored because this output is not controllable."}},
    };
    return all;
}

} // namespace quenstal::gallery
