#include "QuenstalCore/Models/EQProfile.hpp"

#include "QuenstalCore/Models/Volume.hpp"

#include <algorithm>
#include <cmath>
#include <utility>

namespace quenstal {

namespace {

constexpr double minimumGainDB = -12;
constexpr double maximumGainDB = +12;
constexpr double minimumPreampDB = -12;
constexpr double maximumPreampDB = +6;

/// The number without its fraction. A decoded frequency may be anything, beyond 64 bits too.
std::string wholePart(double value)
{
    constexpr double largest = 9007199254740992;
    return std::to_string(static_cast<std::int64_t>(std::isnan(value) ? 0 : std::clamp(value, -largest, largest)));
}

} // namespace

EQBand::EQBand(std::int64_t id, double frequencyHz, std::string label, double gainDB)
    : id(id)
    , frequencyHz(frequencyHz)
    , label(std::move(label))
    , gainDB(clampGain(gainDB))
{
}

const std::vector<EQBand>& EQBand::defaults()
{
    static const std::vector<EQBand> bands{
        {0, 60, "LOW", 0},
        {1, 250, "L-MID", 0},
        {2, 1000, "MID", 0},
        {3, 4000, "H-MID", 0},
        {4, 12000, "HIGH", 0},
    };
    return bands;
}

double EQBand::snap(double value, double lower, double upper)
{
    // Doubling a huge value gives an infinity, which the bounds take in as well. Adding zero turns a negative zero,
    // which would be shown as -0, into a positive one.
    const double onGrid = std::isfinite(value) ? std::round(value * 2) / 2 + 0.0 : 0;
    return std::min(std::max(onGrid, lower), upper);
}

double EQBand::clampGain(double gainDB)
{
    return snap(gainDB, minimumGainDB, maximumGainDB);
}

EQBand EQBand::settingGain(double newGainDB) const
{
    return {id, frequencyHz, label, newGainDB};
}

std::string EQBand::hzLabel() const
{
    constexpr double kilo = 1000;
    return frequencyHz >= kilo ? wholePart(frequencyHz / kilo) + "k" : wholePart(frequencyHz);
}

EQProfile::EQProfile(bool enabled, EQPresetName preset, double preampDB)
    : enabled(enabled)
    , preset(preset)
    , bands(bandsFor(preset))
    , preampDB(clampPreamp(preampDB))
{
}

EQProfile::EQProfile(bool enabled, EQPresetName preset, const std::vector<EQBand>& bands, double preampDB)
    : enabled(enabled)
    , preset(preset)
    , bands(normalizedBands(bands))
    , preampDB(clampPreamp(preampDB))
{
}

double EQProfile::clampPreamp(double preampDB)
{
    return EQBand::snap(preampDB, minimumPreampDB, maximumPreampDB);
}

std::vector<EQBand> EQProfile::normalizedBands(const std::vector<EQBand>& bands)
{
    std::vector<EQBand> result = EQBand::defaults();
    for (EQBand& standard : result) {
        const auto given = std::ranges::find(bands, standard.id, &EQBand::id);
        if (given != bands.end())
            standard.gainDB = EQBand::clampGain(given->gainDB);
    }
    return result;
}

std::vector<EQBand> EQProfile::bandsFor(EQPresetName preset)
{
    std::vector<EQBand> bands = EQBand::defaults();
    if (const auto gains = presetGains(preset)) {
        for (std::size_t i = 0; i < bands.size(); ++i)
            bands[i].gainDB = EQBand::clampGain((*gains)[i]);
    }
    return bands;
}

EQProfile EQProfile::settingEnabled(bool newEnabled) const
{
    return {newEnabled, preset, bands, preampDB};
}

EQProfile EQProfile::selectingPreset(EQPresetName newPreset) const
{
    if (newPreset == EQPresetName::custom)
        return {enabled, newPreset, bands, preampDB};
    return {enabled, newPreset, preampDB};
}

EQProfile EQProfile::settingBand(std::int64_t id, double gainDB) const
{
    std::vector<EQBand> edited = bands;
    const auto band = std::ranges::find(edited, id, &EQBand::id);
    if (band != edited.end())
        *band = band->settingGain(gainDB);
    return {enabled, EQPresetName::custom, edited, preampDB};
}

EQProfile EQProfile::settingPreamp(double newPreampDB) const
{
    return {enabled, preset, bands, newPreampDB};
}

EQProfile EQProfile::resettingToFlatPreservingEnabled() const
{
    return {enabled, EQPresetName::flat, 0};
}

SoundLevelSnapshot::SoundLevelSnapshot(double levelL, double levelR, double peakL, double peakR, bool clipping)
    : levelL(VolumeSnapshot::clamp(levelL))
    , levelR(VolumeSnapshot::clamp(levelR))
    , peakL(VolumeSnapshot::clamp(peakL))
    , peakR(VolumeSnapshot::clamp(peakR))
    , clipping(clipping)
{
}

} // namespace quenstal
