#pragma once

#include "QuenstalCore/ModeSelector.hpp"
#include "QuenstalCore/Models.hpp"
#include "QuenstalCore/Ports.hpp"
#include "QuenstalCore/VolumeReducer.hpp"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace quenstal {

/// The one object that holds the live state. It asks the ports what the current output, display and permissions
/// are, lets the mode selector choose the control path, reads and writes the volume over that path, and publishes
/// the result as one QuenstalState. Operations start from a fresh reading; no mode or device is cached.
///
/// Main thread only; port calls are synchronous and their order is part of the contract. No public operation
/// throws, whatever the ports throw: problems become issues in the state and, for commands, an ignored result.
class QuenstalController {
public:
    /// Runs `refresh()` once. `initialVolume` is the volume shown until one was read. No port may be null.
    QuenstalController(std::shared_ptr<AudioDeviceProviding> audioDevices,
        std::shared_ptr<DisplayTargetProviding> displays, std::shared_ptr<PermissionProviding> permissions,
        std::shared_ptr<SystemVolumeControlling> systemVolume, std::shared_ptr<DDCVolumeControlling> ddcVolume,
        std::shared_ptr<SoftwareVolumeControlling> softwareVolume, std::shared_ptr<EQProfileStoring> eqProfileStore,
        ModeSelector modeSelector, VolumeReducer reducer, VolumeSnapshot initialVolume);

    QuenstalController(const QuenstalController&) = delete;
    QuenstalController& operator=(const QuenstalController&) = delete;

    /// The last published state. The next operation changes it: keep a copy to compare with.
    const QuenstalState& state() const { return state_; }
    /// The user's master switch; true at every start.
    bool isEnabled() const { return isEnabled_; }
    /// The last level that was read or asked for and was neither zero nor muted: where unmuting returns to. 0 to 1,
    /// unless a port read more than that.
    double lastAudibleLevel() const { return lastAudibleLevel_; }

    /// Re-reads everything and publishes. Issues appended earlier are dropped.
    QuenstalState refresh();

    /// Switching on resumes a software session with the remembered volume; switching off ends all of them first.
    /// An unchanged value only refreshes.
    QuenstalState setEnabled(bool enabled);
    QuenstalState toggleEnabled();
    /// Ends all software processing; state and switch stay as they are.
    void shutdown();

    /// Carries out one request of the user. A failed write to a monitor falls back to the software path for this
    /// command; every other failed write is reported as ignored with the reason `softwareFallbackUnavailable`.
    VolumeCommandResult handle(const VolumeCommand& command);
    /// Remembers the user's choice of software processing for a monitor output and starts its session. Other
    /// outputs are left alone.
    QuenstalState switchCurrentOutputToSoftwareProcessing();

    // Edits of the current output's equalizer profile: stored, and passed on to a running session. Without an
    // output the edit is lost. The first boost of a launch on an untouched preamp lowers it by 2 dB, with a hint.
    QuenstalState setEQEnabled(bool enabled);
    QuenstalState selectEQPreset(EQPresetName preset);
    QuenstalState updateEQBand(std::int64_t id, double gainDB);
    QuenstalState updateEQPreamp(double preampDB);
    QuenstalState resetEQProfile();
    /// Hides the hint without a refresh.
    QuenstalState dismissEQBoostHint();

    /// The stored state's issues and a summary of the audio pipeline, one a line, without a trailing line feed.
    std::string exportedDiagnostics() const;

private:
    struct EQEdit {
        EQProfile profile;
        bool boostHintVisible = false;
    };
    using Device = std::optional<AudioOutputDevice>;
    using Display = std::optional<DisplayControlTarget>;

    /// refresh() without the copy that it hands out.
    void reload();
    QuenstalState reloadedWhileEnabled(Device device, Display display, const PermissionState& permissions);
    QuenstalState reloadedWhileDisabled(Device device, Display display, const PermissionState& permissions);
    EQProfile storedProfile(const AudioOutputDevice& device);
    std::optional<VolumeSnapshot> readVolume(const ControlMode& mode, const Device& device, const Display& display);
    SoundLevelSnapshot readLevels(const ControlMode& mode, const Device& device, AudioProcessingDiagnostic diagnostic);
    /// Hands the published profile to the session, when the state says that one runs.
    void pushProfile();

    void resumeSoftwareFallbackIfNeeded();

    /// Writes over the path of the stored mode. Throws what the port throws, or what is missing.
    void apply(const VolumeSnapshot& snapshot);
    /// Writes over the software path and publishes that. Throws, with the state as it was, when that is not possible.
    void applySoftwareFallback(const VolumeSnapshot& next);

    /// `transform` turns the current profile into an EQEdit.
    template <typename Transform>
    QuenstalState updateEQProfile(Transform transform);
    EQEdit boosted(const EQProfile& current, std::int64_t id, double gainDB);

    static AudioProcessingDiagnostic audioProcessingDiagnostic(
        const Device& device, const ControlMode& mode, const PermissionState& permissions);
    bool canSwitchToSoftwareProcessing(const Device& device, AudioProcessingDiagnostic diagnostic);
    /// Works out diagnostic, switch and levels for the output, by the state's mode and permissions.
    void explainAudioProcessing(QuenstalState& state, const Device& device);
    DiagnosticIssue audioProcessingDiagnosticIssue() const;
    const QuenstalState& appendDiagnostic(DiagnosticIssue issue);

    std::shared_ptr<AudioDeviceProviding> audioDevices_;
    std::shared_ptr<DisplayTargetProviding> displays_;
    std::shared_ptr<PermissionProviding> permissions_;
    std::shared_ptr<SystemVolumeControlling> systemVolume_;
    std::shared_ptr<DDCVolumeControlling> ddcVolume_;
    std::shared_ptr<SoftwareVolumeControlling> softwareVolume_;
    std::shared_ptr<EQProfileStoring> eqProfileStore_;
    ModeSelector modeSelector_;
    VolumeReducer reducer_;
    QuenstalState state_;
    bool isEnabled_ = true;
    double lastAudibleLevel_;
    bool boostHintAlreadyShown_ = false;
};

} // namespace quenstal
