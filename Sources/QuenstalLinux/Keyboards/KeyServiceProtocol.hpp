#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include <span>

namespace quenstal {

/// The protocol between the key service and its clients. A client calls `Capture`, which returns one end of a socket;
/// it has the volume keys for as long as both ends are open. The service writes one packet for each key-down, and reads
/// nothing: anything a client writes ends its capture.
struct KeyServiceProtocol {
    static constexpr const char* busName = "app.quenstal.KeyService";
    static constexpr const char* objectPath = "/app/quenstal/KeyService";
    static constexpr const char* interface = "app.quenstal.KeyService1";
    static constexpr const char* captureMember = "Capture";
    /// The action that polkit is asked about.
    static constexpr const char* polkitAction = "app.quenstal.capture-volume-keys";
};

/// Why a capture was refused.
enum class KeyServiceRefusal {
    /// The caller's session is not the active one.
    notActive,
    /// Not allowed by polkit.
    notAuthorized,
    /// Neither allowed nor forbidden: polkit or logind did not answer, or not in time.
    undecided,
    /// The session's keys already belong to another client.
    inUse,
    /// Another program has grabbed the keyboards.
    takenByOther,
    /// The system cannot create clones of the keyboards.
    notCloned,
    /// The guard process cannot be started.
    unguarded,
    /// A key is being held, and not released.
    keyHeld,
    /// The service loses the keyboards as soon as it has them.
    lostAtOnce,
    /// The service itself has no access to the keyboards.
    noAccess,
    /// Too many calls are waiting for an answer.
    tooMany,
};

/// The name of the error on the bus.
const char* errorName(KeyServiceRefusal refusal);
/// None for any other error.
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
/// None for anything that `packetOf` cannot produce.
std::optional<VolumeKeyPress> pressFrom(std::span<const std::uint8_t> packet);

} // namespace quenstal
