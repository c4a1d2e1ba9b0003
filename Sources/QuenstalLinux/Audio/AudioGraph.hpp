#pragma once

// What the audio server has told about itself: plain values, no calls.

#include "QuenstalLinux/Audio/Eld.hpp"

#include <charconv>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quenstal {

using AudioProperties = std::map<std::string, std::string, std::less<>>;

/// The value of a key; empty when it is not there.
inline std::string_view valueOf(const AudioProperties& properties, std::string_view key)
{
    const auto found = properties.find(key);
    return found == properties.end() ? std::string_view() : std::string_view(found->second);
}

/// A decimal number; the other one when the text is none.
template <typename Number>
Number numberOf(std::string_view text, Number otherwise)
{
    Number number = otherwise;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}
template <typename Number>
Number numberOf(const AudioProperties& properties, std::string_view key, Number otherwise)
{
    return numberOf(valueOf(properties, key), otherwise);
}

/// Volume and mute as the server keeps them.
struct AudioVolume {
    /// Linear factors, one a channel.
    std::vector<float> channels;
    /// The speaker of each channel, by the server's numbers.
    std::vector<std::uint32_t> positions;
    bool muted = false;
    /// The hardware carries it out, not the server.
    bool hardware = false;

    bool operator==(const AudioVolume&) const = default;
};

/// A jack or a built-in speaker of a sound card, as far as it plays.
struct OutputRoute {
    std::int32_t index = 0;
    /// What kind of jack it is: "hdmi", "speaker", "headphones".
    std::string portType;
    std::optional<AudioVolume> volume;
};

struct CardDevice {
    /// The server has told all of the properties, not only those that it announces to everyone.
    bool isComplete = false;
    AudioProperties properties;
    /// It has told its routes, or none in time.
    bool hasToldRoutes = false;
    /// By the number that a node carries as `card.profile.device`.
    std::map<std::int32_t, OutputRoute> outputRoutes;
};

struct SinkNode {
    /// As for a card.
    bool isComplete = false;
    AudioProperties properties;
    /// Absent until the server told it.
    std::optional<AudioVolume> volume;
    /// Frames a second; 0 while nothing plays.
    std::uint32_t rate = 0;
    /// What the sound card knows of the monitor behind it.
    std::optional<Eld> eld;

    std::string_view name() const { return valueOf(properties, "node.name"); }
    /// The number within its card; −1 where there is none.
    std::int32_t profileDevice() const { return numberOf(properties, "card.profile.device", -1); }
};

/// Any node that is not a sink, as announced.
struct OtherNode {
    std::string name;
    std::string mediaClass;
    /// Never used again, unlike the global number.
    std::uint64_t serial = 0;
    /// The global number of the program's connection.
    std::uint32_t client = 0;
};

/// Where the session manager wants a stream to play.
struct StreamTarget {
    std::string type;
    std::string value;

    bool operator==(const StreamTarget&) const = default;
};

/// Sound flows from a port of one node into a port of another.
struct NodeLink {
    std::uint32_t outputNode = 0;
    std::uint32_t inputNode = 0;
    std::uint32_t outputPort = 0;
    std::uint32_t inputPort = 0;
};

/// All maps are by the server's global numbers, which are used again after an object has gone.
struct AudioGraph {
    std::map<std::uint32_t, SinkNode> sinks;
    std::map<std::uint32_t, OtherNode> others;
    std::map<std::uint32_t, CardDevice> devices;
    std::map<std::uint32_t, NodeLink> links;
    /// Each port's number among those of its node in the same direction: the channel.
    std::map<std::uint32_t, std::uint32_t> ports;
    /// By stream; most have none.
    std::map<std::uint32_t, StreamTarget> streamTargets;
    /// The name of the output in force; empty while there is none.
    std::string defaultSinkName;
    /// The rate at which the server runs unless a device needs another one.
    std::uint32_t clockRate = 0;
    /// A session manager is there, and takes requests.
    bool hasSession = false;
    /// It inserts filters by itself.
    bool insertsSmartFilters = false;

    std::optional<std::uint32_t> sinkNamed(std::string_view name) const;
    /// The global number of the card that the sink belongs to; none where there is no card.
    std::optional<std::uint32_t> cardNumberOf(const SinkNode& sink) const;
    /// The card that the sink belongs to, and the route that it plays through. Null when there is none.
    const CardDevice* cardOf(const SinkNode& sink) const;
    const OutputRoute* routeOf(const SinkNode& sink) const;
    /// Where the sink's volume is kept: with its route, or with the node itself. Null until it was told.
    const AudioVolume* volumeOf(const SinkNode& sink) const;
};

} // namespace quenstal
