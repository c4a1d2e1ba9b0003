#include "QuenstalApp/NativeAdapters/CoreAudioSoftwareVolumeSession.hpp"

#include "QuenstalApp/PresentableText.hpp"

#include <algorithm>
#include <array>
#include <cmath>

namespace quenstal {

namespace {

float softwareGain(const VolumeSnapshot& snapshot)
{
    return snapshot.isMuted ? 0.0F : static_cast<float>(VolumeSnapshot::clamp(snapshot.level));
}

QSSoftwareVolumeSession* create(AudioTaps& taps, const std::string& deviceUID, const VolumeSnapshot& initialVolume)
{
    std::array<char, 512> message{};
    QSSoftwareVolumeSession* session = nullptr;
    const bool created = QSSoftwareVolumeSessionCreate(
        taps, deviceUID.c_str(), &session, message.data(), message.size(), softwareGain(initialVolume));
    if (created && session)
        return session;
    const std::string reason = presentable(message.data(), longestSentence);
    throw QuenstalError::commandFailed(
        reason.empty() ? "Core Audio software volume session could not be created." : reason);
}

QSSoftwareEQProfile softwareProfile(const EQProfile& profile)
{
    QSSoftwareEQProfile converted{
        .enabled = profile.enabled,
        .preampDB = static_cast<float>(profile.preampDB),
        .bandCount = static_cast<std::uint32_t>(std::min(profile.bands.size(), softwareEQBandCount)),
        .bands = {},
    };
    for (std::size_t k = 0; k < softwareEQBandCount; ++k) {
        const EQBand& band = k < profile.bands.size() ? profile.bands[k] : EQBand::defaults()[k];
        converted.bands[k] = {static_cast<float>(band.frequencyHz), static_cast<float>(band.gainDB)};
    }
    return converted;
}

/// Without the equalizer nothing may be louder than with it, at no frequency: a band that lowers lowers by its gain at
/// most, and one that raises lowers nowhere.
float leastGain(const EQProfile& profile)
{
    constexpr double lowestDB = -12;
    if (!profile.enabled)
        return 1;
    double decibels = std::clamp(profile.preampDB, lowestDB, 6.0);
    for (std::size_t k = 0; k < std::min(profile.bands.size(), softwareEQBandCount); ++k)
        decibels += std::clamp(profile.bands[k].gainDB, lowestDB, 0.0);
    return static_cast<float>(std::pow(10, std::min(decibels, 0.0) / 20));
}

} // namespace

CoreAudioSoftwareVolumeSession::CoreAudioSoftwareVolumeSession(
    AudioTaps& taps, const std::string& deviceUID, const VolumeSnapshot& initialVolume)
    : taps_(taps)
    , volume_(initialVolume)
    , session_(create(taps, deviceUID, initialVolume), Destroy{taps})
{
    tellDirectGain();
}

void CoreAudioSoftwareVolumeSession::setVolume(const VolumeSnapshot& snapshot)
{
    QSSoftwareVolumeSessionSetGain(session_.get(), softwareGain(snapshot));
    volume_ = snapshot;
    tellDirectGain();
}

void CoreAudioSoftwareVolumeSession::setEQProfile(const EQProfile& profile)
{
    const QSSoftwareEQProfile converted = softwareProfile(profile);
    QSSoftwareVolumeSessionSetEQProfile(session_.get(), &converted);
    equalizerGain_ = leastGain(profile);
    tellDirectGain();
}

/// The level also while muted: whoever unmutes the output meanwhile is not to hear more than before.
void CoreAudioSoftwareVolumeSession::tellDirectGain()
{
    const float level = softwareGain({volume_.level, false});
    taps_.setDirectGain(tapID(), level * equalizerGain_, !volume_.isMuted);
}

SoundLevelSnapshot CoreAudioSoftwareVolumeSession::readLevels() const
{
    QSSoftwareLevels levels;
    QSSoftwareVolumeSessionReadLevels(session_.get(), &levels);
    return {levels.levelL, levels.levelR, levels.peakL, levels.peakR, levels.clipping};
}

} // namespace quenstal
