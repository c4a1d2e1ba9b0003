#pragma once

// What is taken from a sound server at most. Any program may make objects there, with whatever texts and numbers; what
// is beyond these limits nobody meant.

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace quenstal::ServerLimits {

// --- Texts, in bytes ---

/// What a user reads. Longer ones are cut.
inline constexpr std::size_t description = 256;
/// Names and all other values. Longer ones are left out: cut short they would be another name.
inline constexpr std::size_t value = 1024;
inline constexpr std::size_t key = 128;
/// A value of metadata.
inline constexpr std::size_t metadata = 4096;

// --- Counts ---

inline constexpr std::size_t properties = 512;
/// Cards, and outputs; also those that were there once.
inline constexpr std::size_t outputs = 64;
/// Routes of a card.
inline constexpr std::size_t routes = 256;
/// Nodes that are no outputs, and links between nodes.
inline constexpr std::size_t streams = 16384;
inline constexpr std::size_t ports = 4 * streams;

// --- Numbers ---

/// Where servers end themselves: 20 dB above full scale.
inline constexpr float largestFactor = 10;
/// Frames a second.
inline constexpr std::uint32_t lowestRate = 4000;
inline constexpr std::uint32_t highestRate = 768'000;

/// The rate, or 0 for one that no sound card has.
constexpr std::uint32_t rate(std::uint32_t told)
{
    return told >= lowestRate && told <= highestRate ? told : 0;
}

/// A volume factor that is a number, from 0 up to `largestFactor`. What is none is silence.
inline float factor(float told)
{
    return std::isnan(told) || told < 0 ? 0 : std::fmin(told, largestFactor);
}

} // namespace quenstal::ServerLimits
