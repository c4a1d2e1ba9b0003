#pragma once

#include "QuenstalCore/Models/Device.hpp"
#include "QuenstalCore/Models/Volume.hpp"

#include <optional>
#include <string_view>

namespace quenstal {

/// Maps a media key to a command, subject to permissions. Keeps no state.
struct MediaKeyRouter {
    /// The key decoder never produces `other`.
    enum class Key { mute, volumeDown, volumeUp, other };

    /// None without Accessibility, and none for `other`. The capture permission plays no part.
    std::optional<VolumeCommand> command(Key key, const PermissionState& permissions) const;
};

/// The key's name for the user.
std::string_view captureLabel(MediaKeyRouter::Key key);

} // namespace quenstal
