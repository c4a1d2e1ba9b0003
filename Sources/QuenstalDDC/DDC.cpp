#include "QuenstalDDC/DDC.hpp"

#include "QuenstalDDC/DDCBus.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include <span>

namespace quenstal {
namespace {

constexpr std::uint8_t displayWriteAddress = 0x6E;
constexpr std::uint8_t displayReadAddress = 0x6F;
constexpr std::uint8_t hostAddress = 0x51;
constexpr std::uint8_t lengthFlag = 0x80;
constexpr std::uint8_t getFeature = 0x01;
constexpr std::uint8_t getFeatureReply = 0x02;
constexpr std::uint8_t setFeature = 0x03;
constexpr std::uint8_t noError = 0x00;
constexpr std::uint8_t speakerVolume = 0x62;

constexpr std::uint32_t maximumWhenZero = 100;
/// A monitor needs this long to prepare its reply.
constexpr std::uint64_t replyDelayNanoseconds = 50'000'000;

/// The reply's opcode stands at 2; some monitors put up to six bytes more in front of it.
constexpr std::size_t firstOpcodeIndex = 2;
constexpr std::size_t lastOpcodeIndex = 8;
using Reply = std::array<std::uint8_t, 16>;

/// The destination is part of the sum although it is not part of the message.
constexpr std::uint8_t checksum(std::span<const std::uint8_t> bytes)
{
    std::uint8_t sum = displayWriteAddress;
    for (const std::uint8_t byte : bytes)
        sum = static_cast<std::uint8_t>(sum ^ byte);
    return sum;
}

template <std::size_t size>
constexpr std::array<std::uint8_t, size> withChecksum(std::array<std::uint8_t, size> message)
{
    message.back() = checksum(std::span(message).first(size - 1));
    return message;
}

constexpr auto getMessage = withChecksum<5>({hostAddress, lengthFlag | 2, getFeature, speakerVolume});
static_assert(getMessage.back() == 0xDE);

constexpr std::array<std::uint8_t, 7> setMessage(std::uint32_t value)
{
    const auto high = static_cast<std::uint8_t>(value >> 8);
    const auto low = static_cast<std::uint8_t>(value);
    return withChecksum<7>({hostAddress, lengthFlag | 4, setFeature, speakerVolume, high, low});
}

constexpr std::uint32_t usableMaximum(std::uint32_t maximum)
{
    return maximum == 0 ? maximumWhenZero : maximum;
}

constexpr std::uint32_t bigEndian(const Reply& reply, std::size_t index)
{
    return reply[index] * 256u + reply[index + 1];
}

/// Length, type and checksum are not looked at: monitors that get them wrong still report the right volume.
std::optional<QSDDCVolume> volumeIn(const Reply& reply)
{
    for (std::size_t i = firstOpcodeIndex; i <= lastOpcodeIndex; ++i) {
        const std::size_t code = i + 2;
        if (reply[i] == getFeatureReply && reply[i + 1] == noError && reply[code] == speakerVolume)
            return QSDDCVolume{
                .current = bigEndian(reply, code + 4), .maximum = usableMaximum(bigEndian(reply, code + 2))};
    }
    return std::nullopt;
}

/// Opens, uses and gives back the bus with this index.
bool withBus(
    DisplayBuses& buses, DisplayBusObject framebuffer, std::uint32_t index, QSDDCBusOperation operation, void* context)
{
    DisplayBusObject busInterface = 0;
    if (buses.copyI2CInterfaceForBus(framebuffer, index, busInterface) != 0 || busInterface == 0)
        return false;
    I2CConnection connection = 0;
    bool done = false;
    if (buses.openI2CInterface(busInterface, 0, connection) == 0 && connection != 0) {
        done = operation(buses, connection, context);
        buses.closeI2CInterface(connection, 0);
    }
    buses.release(busInterface);
    return done;
}

bool withEachBusOf(DisplayBuses& buses, DisplayBusObject framebuffer, QSDDCBusOperation operation, void* context)
{
    std::uint32_t count = 0;
    if (buses.getI2CInterfaceCount(framebuffer, count) != 0)
        return false;
    for (std::uint32_t index = 0; index < count; ++index)
        if (withBus(buses, framebuffer, index, operation, context))
            return true;
    return false;
}

bool readInto(DisplayBuses& buses, I2CConnection connection, void* volume)
{
    return QSDDCReadOnBus(buses, connection, static_cast<QSDDCVolume*>(volume));
}

bool setFrom(DisplayBuses& buses, I2CConnection connection, void* value)
{
    return QSDDCSetOnBus(buses, connection, *static_cast<std::uint32_t*>(value));
}

} // namespace

bool QSDDCProbeSpeakerVolume(DisplayBuses& buses)
{
    QSDDCVolume discarded;
    return QSDDCReadSpeakerVolume(buses, &discarded);
}

bool QSDDCReadSpeakerVolume(DisplayBuses& buses, QSDDCVolume* volume)
{
    if (!volume)
        return false;
    *volume = {};
    return QSDDCWithEachBus(buses, readInto, volume);
}

bool QSDDCSetSpeakerVolume(DisplayBuses& buses, std::uint32_t value)
{
    return QSDDCWithEachBus(buses, setFrom, &value);
}

bool QSDDCWithEachBus(DisplayBuses& buses, QSDDCBusOperation operation, void* context)
{
    DisplayBusObject iterator = 0;
    if (buses.getMatchingFramebuffers(iterator) != 0 || iterator == 0)
        return false;
    bool done = false;
    while (!done) {
        const DisplayBusObject framebuffer = buses.iteratorNext(iterator);
        if (framebuffer == 0)
            break;
        done = withEachBusOf(buses, framebuffer, operation, context);
        buses.release(framebuffer);
    }
    buses.release(iterator);
    return done;
}

bool QSDDCReadOnBus(DisplayBuses& buses, I2CConnection connection, QSDDCVolume* volume)
{
    Reply reply{};
    if (!QSDDCSendRequest(buses, connection, getMessage.data(), getMessage.size(), reply.data(), reply.size()))
        return false;
    const std::optional<QSDDCVolume> answer = volumeIn(reply);
    if (!volume || !answer)
        return false;
    *volume = *answer;
    return true;
}

bool QSDDCSetOnBus(DisplayBuses& buses, I2CConnection connection, std::uint32_t value)
{
    QSDDCVolume present;
    if (!QSDDCReadOnBus(buses, connection, &present))
        return false;
    const auto message = setMessage(std::min(value, usableMaximum(present.maximum)));
    return QSDDCSendRequest(buses, connection, message.data(), message.size(), nullptr, 0);
}

bool QSDDCSendRequest(DisplayBuses& buses, I2CConnection connection, const std::uint8_t* send, std::uint32_t sendLength,
    std::uint8_t* reply, std::uint32_t replyLength)
{
    I2CRequest request;
    request.sendTransactionType = I2CTransactionType::simple;
    request.replyTransactionType = reply ? I2CTransactionType::ddcciReply : I2CTransactionType::none;
    request.sendAddress = displayWriteAddress;
    request.replyAddress = displayReadAddress;
    request.minReplyDelay = replyDelayNanoseconds;
    request.sendBuffer = send;
    request.sendBytes = sendLength;
    request.replyBuffer = reply;
    request.replyBytes = reply ? replyLength : 0;
    return buses.sendI2CRequest(connection, 0, request) == 0 && request.result == 0;
}

} // namespace quenstal
