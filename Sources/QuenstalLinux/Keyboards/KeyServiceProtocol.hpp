#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include <span>

namespace quenstal {

/// What the key service and its clients agree on. A client calls `Capture`, which answers with one end of a socket;
/// the volume keys belong to it for as long as both ends are open. The service writes one packet a key-down, and
/// reads nothing: whatever a client writes ends its capture.
struct KeyServiceProtocol {
    static constexpr const char* busName = "app.quenstal.KeyService";
    static constexpr const char* objectPath = "/app/quenstal/KeyService";
    static constexpr const char* interface = "app.quenstal.KeyService1";
    static constexpr const char* captureMember = "Capture";
    /// What polkit is asked for.
    static constexpr const char* polkitAction = "app.quenstal.capture-volume-keys";
};

/// Why a capture was refused.
enum class KeyServiceRefusal {
    /// The caller's session is not the one at the screen and the keyboard.
    notActive,
    /// Not allowed by polkit.
    notAuthorized,
    /// Neither allowed nor forbidden: polkit or logind gave no answer, or not in time.
    undecided,
    /// The session's keys already belong to another client.
    inUse,
    /// Another program has grabbed the keyboards.
    takenByOther,
    /// The system makes no clones of the keyboards.
    notCloned,
    /// The service has no process to guard the keyboards.
    unguarded,
    /// A key is held on the keyboards, and not let go of.
    keyHeld,
    /// The service loses the keyboards as soon as it has them.
    lostAtOnce,
    /// The service itself may not use the keyboards.
    noAccess,
    /// Too many calls wait for an answer.
    tooMany,
};

/// The name of the error on the bus.
const char* errorName(KeyServiceRefusal refusal);
/// None for an error of anyone else.
std::optional<KeyServiceRefusal> refusalFrom(std::string_view errorName);

/// A volume key went down; `button` is a number of `AuxiliaryButton`.
struct VolumeKeyPress {
    std::int64_t button = 0;
    bool isRepeat = false;

    bool operator==(const VolumeKeyPress&) const = default;
};

using VolumeKeyPacket = std::array<std::uint8_t, 2>;

/// The button's number, then 1 for an auto-repeat, else 0.
VolumeKeyPacket packetOf(const VolumeKeyPress& press);
/// None for everything that `packetOf` does not make.
std::optional<VolumeKeyPress> pressFrom(std::span<const std::uint8_t> packet);

} // namespace quenstal
