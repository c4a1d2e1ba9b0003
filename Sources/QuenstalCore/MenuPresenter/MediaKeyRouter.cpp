#include "QuenstalCore/MenuPresenter/MediaKeyRouter.hpp"

#include "QuenstalCore/ProgrammingError.hpp"

namespace quenstal {

std::string_view captureLabel(MediaKeyRouter::Key key)
{
    switch (key) {
    case MediaKeyRouter::Key::mute:
        return "F10 mute";
    case MediaKeyRouter::Key::volumeDown:
        return "F11 volume down";
    case MediaKeyRouter::Key::volumeUp:
        return "F12 volume up";
    case MediaKeyRouter::Key::other:
        return "Other media key";
    }
    programmingError("The key is none of its cases.");
}

std::optional<VolumeCommand> MediaKeyRouter::command(Key key, const PermissionState& permissions) const
{
    if (!isGranted(permissions.accessibility))
        return std::nullopt;
    switch (key) {
    case Key::mute:
        return VolumeCommand::toggleMute();
    case Key::volumeDown:
        return VolumeCommand::stepDown();
    case Key::volumeUp:
        return VolumeCommand::stepUp();
    case Key::other:
        return std::nullopt;
    }
    programmingError("The key is none of its cases.");
}

} // namespace quenstal
