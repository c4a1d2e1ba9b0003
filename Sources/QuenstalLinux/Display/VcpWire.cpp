#include "QuenstalLinux/Display/VcpWire.hpp"

#include <algorithm>
#include <cstddef>

namespace quenstal {
namespace {

constexpr std::uint8_t displayWriteAddress = 0x6E;
constexpr std::uint8_t hostAddress = 0x51;
constexpr std::uint8_t setPayloadLength = 0x84;
constexpr std::uint8_t replyChecksumSeed = 0x50;
constexpr std::uint8_t replyLength = 0x88;
constexpr std::uint8_t getFeatureReply = 0x02;
constexpr std::uint8_t setFeature = 0x03;
constexpr std::uint8_t unsupportedFeature = 0x01;
constexpr std::uint8_t noError = 0x00;

constexpr std::size_t questionLength = 5;
constexpr std::size_t setLength = 7;
constexpr std::size_t featureIndex = 3;
constexpr std::size_t usualOpcodeIndex = 2;
constexpr std::size_t lastOpcodeIndex = 8;
constexpr std::size_t usualChecksumIndex = 10;

// From the reply's opcode.
constexpr std::size_t maximumOffset = 4;
constexpr std::size_t currentOffset = 6;
constexpr std::size_t valuesLength = 4;

std::optional<std::size_t> findAnswer(std::span<const std::uint8_t, 16> reply, std::uint8_t feature)
{
    for (std::size_t i = usualOpcodeIndex; i <= lastOpcodeIndex; ++i)
        if (reply[i] == getFeatureReply && reply[i + 1] == noError && reply[i + 2] == feature)
            return i;
    return std::nullopt;
}

bool hasUsualLayout(std::span<const std::uint8_t, 16> reply)
{
    return reply[0] == displayWriteAddress && reply[1] == replyLength;
}

bool sumIsRight(std::span<const std::uint8_t, 16> reply)
{
    std::uint8_t sum = replyChecksumSeed;
    for (const std::uint8_t byte : reply.first<usualChecksumIndex>())
        sum = static_cast<std::uint8_t>(sum ^ byte);
    return sum == reply[usualChecksumIndex];
}

} // namespace

VcpVerdict judgeReply(std::span<const std::uint8_t, 16> reply, const VcpMessage& question)
{
    if (question.size() != questionLength)
        return VcpVerdict::rejected;
    const std::uint8_t feature = question[featureIndex];
    const bool isUsual = hasUsualLayout(reply);
    if (findAnswer(reply, feature))
        return isUsual && !sumIsRight(reply) ? VcpVerdict::wrongChecksum : VcpVerdict::accepted;
    const bool isAboutFeature = reply[usualOpcodeIndex] == getFeatureReply && reply[usualOpcodeIndex + 2] == feature;
    const bool isRefused = reply[usualOpcodeIndex + 1] == unsupportedFeature;
    return isUsual && sumIsRight(reply) && isAboutFeature && isRefused ? VcpVerdict::unsupported : VcpVerdict::rejected;
}

void repairMaximum(VcpReply& reply, const VcpMessage& question)
{
    const auto answer = findAnswer(reply, question.at(featureIndex));
    if (!answer)
        return;
    std::uint8_t& high = reply[*answer + maximumOffset];
    if (high == 0xFF && reply[*answer + maximumOffset + 1] != 0)
        high = 0;
}

bool saySame(const VcpReply& a, const VcpReply& b, const VcpMessage& question)
{
    const auto inA = findAnswer(a, question.at(featureIndex));
    const auto inB = findAnswer(b, question.at(featureIndex));
    if (!inA || !inB)
        return false;
    const auto values = [](const VcpReply& reply, std::size_t answer) {
        return std::span(reply).subspan(answer + maximumOffset, valuesLength);
    };
    return std::ranges::equal(values(a, *inA), values(b, *inB));
}

bool putCurrentValue(VcpReply& reply, const VcpMessage& set)
{
    if (set.size() != setLength || set[2] != setFeature)
        return false;
    const auto answer = findAnswer(reply, set[featureIndex]);
    if (!answer)
        return false;
    reply[*answer + currentOffset] = set[4];
    reply[*answer + currentOffset + 1] = set[5];
    return true;
}

VcpMessage setOfCurrentValue(const VcpReply& reply, const VcpMessage& question)
{
    const std::uint8_t feature = question.at(featureIndex);
    const auto answer = findAnswer(reply, feature);
    if (!answer)
        return {};
    VcpMessage set{hostAddress, setPayloadLength, setFeature, feature, reply[*answer + currentOffset],
        reply[*answer + currentOffset + 1]};
    std::uint8_t sum = displayWriteAddress;
    for (const std::uint8_t byte : set)
        sum = static_cast<std::uint8_t>(sum ^ byte);
    set.push_back(sum);
    return set;
}

} // namespace quenstal
