#pragma once

// What a sound card learned from the monitor on its HDMI or DisplayPort socket ("EDID-like data").

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <span>

namespace quenstal {

struct Eld {
    std::string monitorName;
    bool isDisplayPort = false;
    /// Bytes 8 and 9, and 10 and 11, of the monitor's EDID, the first in the low byte.
    std::uint16_t manufacturer = 0;
    std::uint16_t product = 0;

    bool operator==(const Eld&) const = default;
};

/// Where the kernel shows the sound cards. Other roots are for tests.
struct SoundCardRoots {
    std::filesystem::path proc = "/proc/asound";
    std::filesystem::path devices = "/dev/snd";
};

/// None when no monitor is present or the bytes are too few.
std::optional<Eld> parseEldBytes(std::span<const std::uint8_t> bytes);

/// The kernel's own text about a socket. None when no valid data is present.
std::optional<Eld> parseEldText(std::string_view text);

/// What the card's playback device plays on: by the card's control, else by the card's text files when they leave no
/// doubt. None when that cannot be told.
std::optional<Eld> readEld(const SoundCardRoots& roots, int card, int device);

/// The same, by whatever way the machine has.
using EldReader = std::function<std::optional<Eld>(int card, int device)>;
/// Asks the kernel.
EldReader systemEldReader();

} // namespace quenstal
