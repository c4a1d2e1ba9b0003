#pragma once

#include "QuenstalCore/Models/State.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quenstal {

/// The class of the control mode that tints the dial.
enum class GlassDialModeKind { software, hardware, system, disabled, unavailable };

/// Where the settings buttons lead. The platform's desktop opens these links.
struct GlassDialSettingsDestination {
    GlassDialSettingsDestination() = delete;

    /// The settings' Sound page.
    static constexpr std::string_view soundSettingsURLString = "quenstal-settings:sound";
    /// The settings' page that lets a program capture keys.
    static constexpr std::string_view accessibilitySettingsURLString = "quenstal-settings:accessibility";
};

/// What the glass dial panel shows. Made from one state, then only read and compared, so that an unchanged one
/// need not be published again. The equalizer fields do not depend on `isEnabled`.
struct GlassDialSnapshot {
    explicit GlassDialSnapshot(const QuenstalState& state);

    /// "Off", "Muted" or the percentage, as in "42%".
    std::string statusTitle;
    std::string statusSymbolName;
    /// The output's name, else the display's.
    std::string outputName;
    std::string modeLabel;
    GlassDialModeKind modeKind;
    /// Rounded, halves away from zero; not clamped.
    std::int64_t levelPercent;
    bool isMuted;
    bool isEnabled;
    /// The dial takes input.
    bool isControllable;
    /// The display reports a working speaker-volume command.
    bool ddcAvailable;
    /// Software took over because the display has no DDC/CI volume.
    bool showsDDCBanner;
    std::optional<std::string> primaryDiagnostic;
    /// Switched on and usable.
    bool eqEnabled;
    bool eqAvailable;
    bool eqCanSwitchToSoftware;
    /// Blocked by nothing but the capture permission.
    bool eqNeedsAudioPermission;
    std::string eqPresetName;
    std::string eqChipSubtitle;
    /// Empty when the equalizer can be used.
    std::string eqUnavailableReason;
    EQProfile eqProfile;
    SoundLevelSnapshot eqLevels;
    bool eqBoostHintVisible;

    bool operator==(const GlassDialSnapshot&) const = default;
};

} // namespace quenstal
