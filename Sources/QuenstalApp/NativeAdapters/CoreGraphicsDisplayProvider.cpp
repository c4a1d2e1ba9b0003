#include "QuenstalApp/NativeAdapters/CoreGraphicsDisplayProvider.hpp"

#include "QuenstalDDC/DDC.hpp"

#include <algorithm>
#include <string>

namespace quenstal {

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

} // namespace quenstal
