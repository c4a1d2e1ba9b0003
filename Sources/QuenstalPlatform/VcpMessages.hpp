#pragma once

// The messages of DDC/CI about a monitor's features, as bytes: those that a host sends to a display, and the display's
// replies. Nothing else builds or reads such bytes. Any thread.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include <span>

namespace quenstal {

/// By its VCP code.
using VcpFeature = std::uint8_t;

inline constexpr VcpFeature speakerVolumeFeature = 0x62;

/// Of a display on its bus. Eight bits; the lowest means read.
inline constexpr std::uint8_t displayWriteAddress = 0x6E;
inline constexpr std::uint8_t displayReadAddress = 0x6F;

/// In the monitor's own units.
struct VcpValue {
    std::uint16_t current = 0;
    std::uint16_t maximum = 0;

    bool operator==(const VcpValue&) const = default;
};

/// What a Set asks for.
struct VcpSetting {
    VcpFeature feature = 0;
    std::uint16_t value = 0;

    bool operator==(const VcpSetting&) const = default;
};

/// What is read after a question. Monitors corrupt replies that are read byte by byte, so always this much in one read;
/// arbitrary bytes follow the reply.
using VcpReply = std::array<std::uint8_t, 16>;

namespace vcp {

enum Opcode : std::uint8_t { getFeature = 0x01, getFeatureReply = 0x02, setFeature = 0x03 };
enum Result : std::uint8_t { noError = 0x00, unsupportedFeature = 0x01 };

inline constexpr std::uint8_t hostAddress = 0x51;
inline constexpr std::uint8_t lengthFlag = 0x80;
/// The destination is part of the sum although it is not part of the message; a host has its own.
inline constexpr std::uint8_t sumToDisplay = displayWriteAddress;
inline constexpr std::uint8_t sumToHost = 0x50;
/// Address and length in front of the payload, the sum behind it.
inline constexpr std::size_t headerLength = 2;
inline constexpr std::size_t frameLength = headerLength + 1;
/// Opcode, result, feature, type, maximum, value.
inline constexpr std::size_t replyPayloadLength = 8;
/// Some monitors put up to six bytes more in front of the reply's opcode.
inline constexpr std::size_t lastOpcodeIndex = headerLength + 6;

constexpr std::uint8_t high(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value >> 8);
}

constexpr std::uint8_t low(std::uint16_t value)
{
    return static_cast<std::uint8_t>(value);
}

constexpr std::uint16_t bigEndian(std::span<const std::uint8_t> bytes, std::size_t index)
{
    return static_cast<std::uint16_t>(bytes[index] << 8 | bytes[index + 1]);
}

constexpr std::uint8_t sumOf(std::span<const std::uint8_t> bytes, std::uint8_t destination)
{
    std::uint8_t sum = destination;
    for (const std::uint8_t byte : bytes)
        sum = static_cast<std::uint8_t>(sum ^ byte);
    return sum;
}

template <std::size_t size>
constexpr std::array<std::uint8_t, size + frameLength> framed(
    std::uint8_t source, const std::array<std::uint8_t, size>& payload, std::uint8_t destination)
{
    std::array<std::uint8_t, size + frameLength> message{source, lengthFlag | size};
    std::ranges::copy(payload, message.begin() + headerLength);
    message.back() = sumOf(std::span(message).first(size + headerLength), destination);
    return message;
}

template <std::size_t size>
constexpr auto toDisplay(const std::array<std::uint8_t, size>& payload)
{
    return framed(hostAddress, payload, sumToDisplay);
}

template <std::size_t size>
constexpr auto toHost(const std::array<std::uint8_t, size>& payload)
{
    return framed(displayWriteAddress, payload, sumToHost);
}

/// Of a message to a display; empty if its checksum is wrong.
constexpr std::span<const std::uint8_t> payloadToDisplay(std::span<const std::uint8_t> message)
{
    if (message.size() < frameLength || message[0] != hostAddress || sumOf(message, sumToDisplay) != 0
        || message[1] != (lengthFlag | (message.size() - frameLength)))
        return {};
    return message.subspan(headerLength, message.size() - frameLength);
}

/// The reply with nothing in front of it.
constexpr bool hasUsualLayout(const VcpReply& reply)
{
    return reply[0] == displayWriteAddress && reply[1] == (lengthFlag | replyPayloadLength);
}

constexpr bool sumIsRight(const VcpReply& reply)
{
    return sumOf(std::span(reply).first<replyPayloadLength + frameLength>(), sumToHost) == 0;
}

} // namespace vcp

constexpr auto vcpQuestion(VcpFeature feature)
{
    return vcp::toDisplay<2>({vcp::getFeature, feature});
}

constexpr auto vcpSet(const VcpSetting& setting)
{
    return vcp::toDisplay<4>({vcp::setFeature, setting.feature, vcp::high(setting.value), vcp::low(setting.value)});
}

/// The beginning of a `VcpReply`.
constexpr auto vcpReply(VcpFeature feature, std::uint8_t result, const VcpValue& value)
{
    return vcp::toHost<vcp::replyPayloadLength>({vcp::getFeatureReply, result, feature, 0, vcp::high(value.maximum),
        vcp::low(value.maximum), vcp::high(value.current), vcp::low(value.current)});
}

/// The feature that a message to a display asks for.
constexpr std::optional<VcpFeature> questionIn(std::span<const std::uint8_t> message)
{
    const auto payload = vcp::payloadToDisplay(message);
    return payload.size() == 2 && payload[0] == vcp::getFeature ? std::optional(payload[1]) : std::nullopt;
}

/// What a message to a display sets.
constexpr std::optional<VcpSetting> settingIn(std::span<const std::uint8_t> message)
{
    const auto payload = vcp::payloadToDisplay(message);
    if (payload.size() != 4 || payload[0] != vcp::setFeature)
        return std::nullopt;
    return VcpSetting{payload[1], vcp::bigEndian(payload, 2)};
}

/// What a reply reports about a feature. Length, type and sum are ignored: monitors that get them wrong still report
/// the right value.
constexpr std::optional<VcpValue> valueIn(const VcpReply& reply, VcpFeature feature)
{
    for (std::size_t i = vcp::headerLength; i <= vcp::lastOpcodeIndex; ++i)
        if (reply[i] == vcp::getFeatureReply && reply[i + 1] == vcp::noError && reply[i + 2] == feature)
            return VcpValue{.current = vcp::bigEndian(reply, i + 6), .maximum = vcp::bigEndian(reply, i + 4)};
    return std::nullopt;
}

/// Whether a reply in the usual layout lost a bit on its way.
constexpr bool isDamaged(const VcpReply& reply)
{
    return vcp::hasUsualLayout(reply) && !vcp::sumIsRight(reply);
}

/// Whether a reply, with a correct sum, reports that the monitor has no such feature.
constexpr bool saysUnsupported(const VcpReply& reply, VcpFeature feature)
{
    return vcp::hasUsualLayout(reply) && vcp::sumIsRight(reply) && reply[2] == vcp::getFeatureReply
        && reply[3] == vcp::unsupportedFeature && reply[4] == feature;
}

static_assert(vcpQuestion(speakerVolumeFeature).back() == 0xDE);

} // namespace quenstal
