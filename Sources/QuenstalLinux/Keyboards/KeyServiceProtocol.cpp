#include "QuenstalLinux/Keyboards/KeyServiceProtocol.hpp"

#include "QuenstalPlatform/EventTaps.hpp"

#include <algorithm>

namespace quenstal {

namespace {

struct NamedRefusal {
    KeyServiceRefusal refusal;
    const char* name;
};

constexpr std::array namedRefusals{
    NamedRefusal{KeyServiceRefusal::notActive, "app.quenstal.KeyService1.Error.NotActive"},
    NamedRefusal{KeyServiceRefusal::notAuthorized, "app.quenstal.KeyService1.Error.NotAuthorized"},
    NamedRefusal{KeyServiceRefusal::undecided, "app.quenstal.KeyService1.Error.Undecided"},
    NamedRefusal{KeyServiceRefusal::inUse, "app.quenstal.KeyService1.Error.InUse"},
    NamedRefusal{KeyServiceRefusal::takenByOther, "app.quenstal.KeyService1.Error.TakenByOther"},
    NamedRefusal{KeyServiceRefusal::notCloned, "app.quenstal.KeyService1.Error.NotCloned"},
    NamedRefusal{KeyServiceRefusal::unguarded, "app.quenstal.KeyService1.Error.Unguarded"},
    NamedRefusal{KeyServiceRefusal::keyHeld, "app.quenstal.KeyService1.Error.KeyHeld"},
    NamedRefusal{KeyServiceRefusal::lostAtOnce, "app.quenstal.KeyService1.Error.LostAtOnce"},
    NamedRefusal{KeyServiceRefusal::noAccess, "app.quenstal.KeyService1.Error.NoAccess"},
    NamedRefusal{KeyServiceRefusal::tooMany, "app.quenstal.KeyService1.Error.TooMany"},
};

constexpr bool isVolumeButton(std::int64_t button)
{
    return button == AuxiliaryButton::soundUp || button == AuxiliaryButton::soundDown
        || button == AuxiliaryButton::mute;
}

} // namespace

const char* errorName(KeyServiceRefusal refusal)
{
    return std::ranges::find(namedRefusals, refusal, &NamedRefusal::refusal)->name;
}

std::optional<KeyServiceRefusal> refusalFrom(std::string_view errorName)
{
    const auto named = std::ranges::find(
        namedRefusals, errorName, [](const NamedRefusal& entry) { return std::string_view(entry.name); });
    if (named == namedRefusals.end())
        return std::nullopt;
    return named->refusal;
}

VolumeKeyPacket packetOf(const VolumeKeyPress& press)
{
    return {static_cast<std::uint8_t>(press.button), static_cast<std::uint8_t>(press.isRepeat ? 1 : 0)};
}

std::optional<VolumeKeyPress> pressFrom(std::span<const std::uint8_t> packet)
{
    if (packet.size() != VolumeKeyPacket{}.size() || !isVolumeButton(packet[0]) || packet[1] > 1)
        return std::nullopt;
    return VolumeKeyPress{packet[0], packet[1] == 1};
}

} // namespace quenstal
