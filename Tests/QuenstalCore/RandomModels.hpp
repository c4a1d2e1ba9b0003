#pragma once

// Models with arbitrary contents, as decoding or assignment may leave them.

#include "QuenstalCore/Models.hpp"
#include "Support/Random.hpp"

#include <cstdint>
#include <optional>
#include <string>

namespace quenstal::test {

template <Enumeration E>
E anyCase(Random& random)
{
    return random.oneOf(allCases<E>());
}

inline std::optional<std::string> anyOptionalText(Random& random)
{
    return random.coin() ? std::optional(random.anyText()) : std::nullopt;
}

/// A finite number: small and whole, small and broken, or of any magnitude.
inline double anyFinite(Random& random)
{
    switch (random.below(3)) {
    case 0:
        return static_cast<double>(random.below(40)) - 20;
    case 1:
        return random.between(-20, 20);
    default:
        return random.anyFiniteDouble();
    }
}

/// Any of the above, NaN or an infinity.
inline double anyNumber(Random& random)
{
    return random.below(4) == 0 ? random.anyDouble() : anyFinite(random);
}

inline AudioOutputDevice anyDevice(Random& random)
{
    return {
        random.anyText(), random.anyText(), anyCase<AudioTransport>(random), random.coin(), anyOptionalText(random)};
}

inline DisplayControlTarget anyDisplay(Random& random)
{
    return {random.anyText(), random.anyText(), random.coin(), random.coin()};
}

inline PermissionState anyPermissions(Random& random)
{
    return {anyCase<PermissionStatus>(random), anyCase<PermissionStatus>(random)};
}

inline ControlMode anyMode(Random& random)
{
    switch (random.below(5)) {
    case 0:
        return ControlMode::systemVolume(random.anyText());
    case 1:
        return ControlMode::hardwareDDC(random.anyText());
    case 2:
        return ControlMode::softwareTap(random.anyText());
    case 3:
        return ControlMode::unavailable(anyCase<UnavailableReason>(random));
    default:
        return ControlMode::disabled();
    }
}

inline VolumeSnapshot anyVolume(Random& random)
{
    VolumeSnapshot volume;
    volume.level = anyFinite(random);
    volume.isMuted = random.coin();
    return volume;
}

inline EQBand anyBand(Random& random)
{
    EQBand band;
    band.id = random.coin() ? static_cast<std::int64_t>(random.below(7)) - 1 : static_cast<std::int64_t>(random.bits());
    band.frequencyHz = anyFinite(random);
    band.label = random.anyText();
    band.gainDB = anyFinite(random);
    return band;
}

inline EQProfile anyProfile(Random& random)
{
    EQProfile profile;
    profile.enabled = random.coin();
    profile.preset = anyCase<EQPresetName>(random);
    profile.preampDB = anyFinite(random);
    profile.bands.clear();
    for (std::size_t count = random.below(9); count > 0; --count)
        profile.bands.push_back(anyBand(random));
    return profile;
}

inline SoundLevelSnapshot anyLevels(Random& random)
{
    SoundLevelSnapshot levels;
    levels.levelL = anyFinite(random);
    levels.levelR = anyFinite(random);
    levels.peakL = anyFinite(random);
    levels.peakR = anyFinite(random);
    levels.clipping = random.coin();
    return levels;
}

inline DiagnosticIssue anyIssue(Random& random)
{
    return {anyCase<DiagnosticCode>(random), anyCase<DiagnosticSeverity>(random), random.anyText(),
        anyOptionalText(random)};
}

inline AudioProcessingState anyProcessing(Random& random)
{
    return {anyProfile(random), anyLevels(random), anyCase<AudioProcessingDiagnostic>(random), random.coin(),
        random.coin()};
}

} // namespace quenstal::test
