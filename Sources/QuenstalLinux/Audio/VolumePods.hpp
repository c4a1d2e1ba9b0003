#pragma once

// Volumes and routes in the server's binary form, and back. What is read is within `ServerLimits`, whatever was told.

#include "QuenstalLinux/Audio/AudioGraph.hpp"

#include <optional>
#include <utility>
#include <vector>

#include <spa/pod/pod.h>

namespace quenstal {

/// None when the parameter carries no channel volumes.
std::optional<AudioVolume> parseVolume(const spa_pod* props);

/// The route and the number of the profile's device that it serves; none for one that does not play.
std::optional<std::pair<std::int32_t, OutputRoute>> parseOutputRoute(const spa_pod* route);

/// The rate of a raw audio format; 0 when it names none that a sound card has.
std::uint32_t parseRate(const spa_pod* format);

/// A parameter that lives as long as this.
class BuiltPod {
public:
    const spa_pod* get() const { return reinterpret_cast<const spa_pod*>(bytes_.data()); }

    /// Sets factors and mute of a node.
    static BuiltPod nodeVolume(const AudioVolume& volume);
    /// Sets factors and mute of a route. Kept: the session manager restores them, as it does for the desktop's mixers.
    static BuiltPod routeVolume(
        std::int32_t routeIndex, std::int32_t profileDevice, const AudioVolume& volume, bool isKept);

private:
    std::vector<std::uint8_t> bytes_;
};

} // namespace quenstal
