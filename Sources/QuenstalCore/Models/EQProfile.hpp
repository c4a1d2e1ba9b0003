#pragma once

// The settings of the five-band equalizer and one reading of the level meters.

#include "QuenstalCore/Models/Enumeration.hpp"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenstal {

enum class EQPresetName { flat, voice, movie, music, night, custom };

/// Gains of the five bands in decibels.
using EQPresetGains = std::array<double, 5>;

template <>
struct EnumerationTable<EQPresetName> {
    struct Row {
        EQPresetName value;
        std::string_view rawValue;
        std::string_view displayName;
        std::optional<EQPresetGains> gains;
    };
    static constexpr std::array<Row, 6> rows{{
        {EQPresetName::flat, "flat", "Flat", EQPresetGains{0, 0, 0, 0, 0}},
        {EQPresetName::voice, "voice", "Voice", EQPresetGains{-3, -1, +4, +3, 0}},
        {EQPresetName::movie, "movie", "Movie", EQPresetGains{+4, +2, -1, +1, +3}},
        {EQPresetName::music, "music", "Music", EQPresetGains{+3, +1, 0, +2, +4}},
        {EQPresetName::night, "night", "Night", EQPresetGains{+2, 0, 0, -1, -3}},
        {EQPresetName::custom, "custom", "Custom", std::nullopt},
    }};
};

constexpr std::string_view displayName(EQPresetName preset)
{
    return rowOf(preset).displayName;
}

/// None for `custom`, whose gains are the user's own.
constexpr std::optional<EQPresetGains> presetGains(EQPresetName preset)
{
    return rowOf(preset).gains;
}

/// One band of the equalizer.
struct EQBand {
    /// Band index 0 to 4; the band's identity.
    std::int64_t id = 0;
    /// Centre frequency.
    double frequencyHz = 0;
    /// Short name under the band.
    std::string label;
    /// −12 to +12 in steps of 0.5.
    double gainDB = 0;

    EQBand() = default;
    /// Applies `clampGain` to the gain.
    EQBand(std::int64_t id, double frequencyHz, std::string label, double gainDB);

    /// The five standard bands, flat, in `id` order.
    static const std::vector<EQBand>& defaults();

    /// Snaps to the half-decibel grid, then clamps to [−12, +12].
    static double clampGain(double gainDB);
    /// Snaps to the grid of 0.5, halves away from zero; then the lower bound, then the upper. A value that is not
    /// finite counts as 0.
    static double snap(double value, double lower, double upper);

    /// A copy with that gain, after `clampGain`.
    EQBand settingGain(double gainDB) const;

    /// The frequency for the user: "250", "4k"; fractions are cut off.
    std::string hzLabel() const;

    bool operator==(const EQBand&) const = default;
};

/// The equalizer settings of one output. Every editing operation returns a new profile with the five standard
/// bands and values on the grid; decoding and assignment may leave anything.
struct EQProfile {
    bool enabled = false;
    /// The preset that the bands came from; `custom` after a band was moved by hand.
    EQPresetName preset = EQPresetName::flat;
    std::vector<EQBand> bands = EQBand::defaults();
    /// −12 to +6 in steps of 0.5: it may cut more than it may boost.
    double preampDB = 0;

    EQProfile() = default;
    /// The preset's own bands.
    EQProfile(bool enabled, EQPresetName preset, double preampDB);
    /// The given bands, normalised.
    EQProfile(bool enabled, EQPresetName preset, const std::vector<EQBand>& bands, double preampDB);

    /// Switched off, flat, no preamp.
    static EQProfile defaultProfile() { return {}; }

    /// Snaps to the half-decibel grid, then clamps to [−12, +6].
    static double clampPreamp(double preampDB);
    /// The five standard bands; each takes the gain of the first given band with its `id`, or 0.
    static std::vector<EQBand> normalizedBands(const std::vector<EQBand>& bands);
    /// The standard bands with the preset's gains; flat for `custom`.
    static std::vector<EQBand> bandsFor(EQPresetName preset);

    EQProfile settingEnabled(bool enabled) const;
    /// `custom` keeps the bands and changes the name only.
    EQProfile selectingPreset(EQPresetName preset) const;
    /// Makes the profile `custom`, even when no band has that `id`.
    EQProfile settingBand(std::int64_t id, double gainDB) const;
    /// Keeps the preset: a preamp does not make a profile custom.
    EQProfile settingPreamp(double preampDB) const;
    EQProfile resettingToFlatPreservingEnabled() const;

    bool operator==(const EQProfile&) const = default;
};

/// One reading of the level meters; the levels are linear, 0 to 1.
struct SoundLevelSnapshot {
    double levelL = 0;
    double levelR = 0;
    double peakL = 0;
    double peakR = 0;
    /// The signal clipped.
    bool clipping = false;

    constexpr SoundLevelSnapshot() = default;
    /// Clamps the four levels to [0, 1]; a value that is not finite gives 0.
    SoundLevelSnapshot(double levelL, double levelR, double peakL, double peakR, bool clipping);

    static constexpr SoundLevelSnapshot zero() { return {}; }

    bool operator==(const SoundLevelSnapshot&) const = default;
};

} // namespace quenstal
