#include "QuenstalDDC/DDC.hpp"

#include "QuenstalDDC/DDCBus.hpp"
#include "QuenstalPlatform/VcpMessages.hpp"

#include <algorithm>
#include <optional>

namespace quenstal {
namespace {

constexpr std::uint32_t maximumWhenZero = 100;
/// A monitor needs this long to prepare its reply.
constexpr std::uint64_t replyDelayNanoseconds = 50'000'000;

constexpr std::uint32_t usableMaximum(std::uint32_t maximum)
{
    return maximum == 0 ? maximumWhenZero : maximum;
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
    constexpr auto question = vcpQuestion(speakerVolumeFeature);
    VcpReply reply{};
    if (!QSDDCSendRequest(buses, connection, question.data(), question.size(), reply.data(), reply.size()))
        return false;
    const std::optional<VcpValue> answer = valueIn(reply, speakerVolumeFeature);
    if (!volume || !answer)
        return false;
    *volume = {.current = answer->current, .maximum = usableMaximum(answer->maximum)};
    return true;
}

bool QSDDCSetOnBus(DisplayBuses& buses, I2CConnection connection, std::uint32_t value)
{
    QSDDCVolume present;
    if (!QSDDCReadOnBus(buses, connection, &present))
        return false;
    const auto limited = static_cast<std::uint16_t>(std::min(value, usableMaximum(present.maximum)));
    const auto message = vcpSet({speakerVolumeFeature, limited});
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
