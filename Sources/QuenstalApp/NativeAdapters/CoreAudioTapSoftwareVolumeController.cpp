#include "QuenstalApp/NativeAdapters/CoreAudioTapSoftwareVolumeController.hpp"

#include <algorithm>

namespace quenstal {

CoreAudioTapSoftwareVolumeController::CoreAudioTapSoftwareVolumeController(AudioTaps& taps)
    : taps_(taps)
    , tapChanges_(taps.onTapChanged([this](AudioObjectID tap, TapChange change) { tapChanged(tap, change); }))
{
}

bool CoreAudioTapSoftwareVolumeController::isAvailable(const AudioOutputDevice& device)
{
    stopSessions(device.id);
    return isExternalDisplayLike(device.transport) && !device.coreAudioUID.value_or("").empty();
}

VolumeSnapshot CoreAudioTapSoftwareVolumeController::readVolume(const AudioOutputDevice& device)
{
    requireAvailable(device);
    return rememberedVolume(device.id);
}

void CoreAudioTapSoftwareVolumeController::setVolume(const VolumeSnapshot& snapshot, const AudioOutputDevice& device)
{
    softwareSession(device).setVolume(snapshot);
    volumes_.insert_or_assign(device.id, snapshot);
}

void CoreAudioTapSoftwareVolumeController::setEQProfile(const EQProfile& profile, const AudioOutputDevice& device)
{
    softwareSession(device).setEQProfile(profile);
}

SoundLevelSnapshot CoreAudioTapSoftwareVolumeController::readLevels(const AudioOutputDevice& device)
{
    requireAvailable(device);
    const auto session = sessions_.find(device.id);
    return session == sessions_.end() ? SoundLevelSnapshot::zero() : session->second.readLevels();
}

void CoreAudioTapSoftwareVolumeController::stopAll()
{
    sessions_.clear();
}

CoreAudioSoftwareVolumeSession& CoreAudioTapSoftwareVolumeController::softwareSession(const AudioOutputDevice& device)
{
    requireAvailable(device);
    const auto running = sessions_.find(device.id);
    if (running != sessions_.end())
        return running->second;
    CoreAudioSoftwareVolumeSession started(taps_, *device.coreAudioUID, rememberedVolume(device.id));
    return sessions_.emplace(device.id, std::move(started)).first->second;
}

void CoreAudioTapSoftwareVolumeController::requireAvailable(const AudioOutputDevice& device)
{
    if (!isAvailable(device))
        throw QuenstalError::unsupportedDevice();
}

void CoreAudioTapSoftwareVolumeController::stopSessions(const std::string& exceptID)
{
    std::erase_if(sessions_, [&](const auto& entry) { return entry.first != exceptID; });
}

VolumeSnapshot CoreAudioTapSoftwareVolumeController::rememberedVolume(const std::string& id) const
{
    const auto remembered = volumes_.find(id);
    return remembered == volumes_.end() ? VolumeSnapshot::fullScale() : remembered->second;
}

void CoreAudioTapSoftwareVolumeController::tapChanged(AudioObjectID tap, TapChange change)
{
    const auto session
        = std::ranges::find_if(sessions_, [&](const auto& entry) { return entry.second.tapID() == tap; });
    if (session == sessions_.end())
        return;
    switch (change) {
    case TapChange::format:
        session->second.updateFormat();
        break;
    case TapChange::ended:
        // The next request starts another one, at the volume that this one had.
        sessions_.erase(session);
        break;
    case TapChange::refusalOver:
        break;
    }
}

} // namespace quenstal
