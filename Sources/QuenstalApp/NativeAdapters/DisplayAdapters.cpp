#include "QuenstalApp/NativeAdapters/DisplayAdapters.hpp"

#include "QuenstalDDC/DDC.hpp"

#include <algorithm>
#include <cmath>
#include <string>

namespace quenstal {

namespace {

constexpr std::uint32_t maximumWhenUnknown = 100;

std::uint32_t usableMaximum(const QSDDCVolume& volume)
{
    return volume.maximum == 0 ? maximumWhenUnknown : volume.maximum;
}

} // namespace

std::optional<DisplayControlTarget> CoreGraphicsDisplayProvider::displayTarget(const AudioOutputDevice& device)
{
    if (!isExternalDisplayLike(device.transport))
        return std::nullopt;
    const std::vector<DisplayID> online = displays_.onlineDisplays();
    const auto external = std::ranges::find_if(online, [this](DisplayID id) { return !displays_.isBuiltin(id); });
    if (external == online.end())
        return std::nullopt;
    const bool answers = QSDDCProbeSpeakerVolume(buses_);
    return DisplayControlTarget{std::to_string(*external), "External Display", answers, answers};
}

VolumeSnapshot NativeDDCVolumeController::readVolume(const DisplayControlTarget&)
{
    QSDDCVolume volume;
    if (!QSDDCReadSpeakerVolume(buses_, &volume))
        throw QuenstalError::unsupportedDevice();
    const double level = static_cast<double>(volume.current) / usableMaximum(volume);
    return VolumeSnapshot(level, volume.current == 0);
}

void NativeDDCVolumeController::setVolume(const VolumeSnapshot& snapshot, const DisplayControlTarget&)
{
    // A failed read leaves the record zero and does not stop the write, which reads again for itself.
    QSDDCVolume present;
    QSDDCReadSpeakerVolume(buses_, &present);
    const double level = snapshot.isMuted ? 0 : VolumeSnapshot::clamp(snapshot.level);
    const auto value = static_cast<std::uint32_t>(std::round(level * usableMaximum(present)));
    if (!QSDDCSetSpeakerVolume(buses_, value))
        throw QuenstalError::commandFailed("DDC/CI VCP 0x62 write failed.");
}

} // namespace quenstal
