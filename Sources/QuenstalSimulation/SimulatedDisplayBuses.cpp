#include "QuenstalSimulation/SimulatedDisplayBuses.hpp"

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include <span>

namespace quenstal {
namespace {

/// A hundred kilohertz, nine bits a byte.
constexpr RunLoop::Duration timeOfByte = std::chrono::microseconds(90);

std::string hexadecimal(std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

} // namespace

void SimulatedDisplayBuses::failWith(Call call, std::string object, PlatformStatus status)
{
    faults_[{call, std::move(object)}] = {.status = status};
}

void SimulatedDisplayBuses::handOutNull(Call call, std::string object)
{
    faults_[{call, std::move(object)}] = {.handsOutNull = true};
}

SimulatedDisplayBuses::Fault SimulatedDisplayBuses::faultOf(Call call, const std::string& object) const
{
    const auto fault = faults_.find({call, object});
    return fault == faults_.end() ? Fault{} : fault->second;
}

DisplayBusObject SimulatedDisplayBuses::add(Object object)
{
    objects_.emplace(++lastObject_, std::move(object));
    return lastObject_;
}

PlatformStatus SimulatedDisplayBuses::getMatchingFramebuffers(DisplayBusObject& iterator)
{
    calls_.emplace_back("matching");
    const Fault fault = faultOf(Call::getMatchingFramebuffers, "");
    if (fault.status == 0 && !fault.handsOutNull)
        iterator = add({.name = "iterator"});
    return fault.status;
}

DisplayBusObject SimulatedDisplayBuses::iteratorNext(DisplayBusObject iterator)
{
    const std::size_t next = objects_.at(iterator).framebuffer++;
    if (next >= framebuffers.size()) {
        calls_.emplace_back("next -> none");
        return 0;
    }
    const std::string name = "fb" + std::to_string(next);
    calls_.push_back("next -> " + name);
    return add({.framebuffer = next, .name = name});
}

PlatformStatus SimulatedDisplayBuses::getI2CInterfaceCount(DisplayBusObject framebuffer, std::uint32_t& count)
{
    const Object& object = objects_.at(framebuffer);
    calls_.push_back("count " + object.name);
    count = static_cast<std::uint32_t>(framebuffers.at(object.framebuffer).size());
    return faultOf(Call::getI2CInterfaceCount, object.name).status;
}

PlatformStatus SimulatedDisplayBuses::copyI2CInterfaceForBus(
    DisplayBusObject framebuffer, std::uint32_t bus, DisplayBusObject& busInterface)
{
    const Object& object = objects_.at(framebuffer);
    const std::string name = object.name + "." + std::to_string(bus);
    calls_.push_back("copy " + name);
    const Fault fault = faultOf(Call::copyI2CInterfaceForBus, name);
    if (fault.status == 0 && !fault.handsOutNull)
        busInterface = add({.framebuffer = object.framebuffer, .bus = bus, .name = name});
    return fault.status;
}

PlatformStatus SimulatedDisplayBuses::openI2CInterface(
    DisplayBusObject busInterface, std::uint32_t options, I2CConnection& connection)
{
    Object object = objects_.at(busInterface);
    calls_.push_back("open " + object.name + (options == 0 ? "" : " with options"));
    const Fault fault = faultOf(Call::openI2CInterface, object.name);
    if (fault.status == 0 && !fault.handsOutNull)
        connection = add(std::move(object));
    return fault.status;
}

PlatformStatus SimulatedDisplayBuses::sendI2CRequest(
    I2CConnection connection, std::uint32_t options, I2CRequest& request)
{
    const Object& object = objects_.at(connection);
    const std::span sent(request.sendBuffer, request.sendBytes);
    const std::span reply(request.replyBuffer, request.replyBytes);
    const bool replyIsBlank = std::ranges::all_of(reply, [](std::uint8_t byte) { return byte == 0; });
    calls_.push_back("send " + object.name + (options == 0 ? ":" : " with options:") + hexadecimal(sent)
        + (replyIsBlank ? "" : " into a used buffer"));
    requests_.push_back(request);
    const PlatformStatus status = faultOf(Call::send, object.name).status;
    if (status == 0)
        request.result = carry(framebuffers.at(object.framebuffer).at(object.bus), request);
    return status;
}

PlatformStatus SimulatedDisplayBuses::carry(const Bus& bus, I2CRequest& request)
{
    const auto sevenBits = [](std::uint32_t address) { return static_cast<std::uint16_t>(address >> 1); };
    timeBlocked_ += timeOfByte * (request.sendBytes + 1);
    if (!bus)
        return ENXIO;
    const std::span sent(request.sendBuffer, request.sendBytes);
    if (const int error = bus->write(sevenBits(request.sendAddress), sent, now()); error != 0)
        return error;
    if (request.replyTransactionType == I2CTransactionType::none)
        return 0;
    timeBlocked_ += std::chrono::nanoseconds(request.minReplyDelay) + timeOfByte * (request.replyBytes + 1);
    return bus->read(sevenBits(request.replyAddress), {request.replyBuffer, request.replyBytes}, now());
}

PlatformStatus SimulatedDisplayBuses::closeI2CInterface(I2CConnection connection, std::uint32_t options)
{
    calls_.push_back("close " + objects_.at(connection).name + (options == 0 ? "" : " with options"));
    objects_.erase(connection);
    return 0;
}

void SimulatedDisplayBuses::release(DisplayBusObject object)
{
    calls_.push_back("release " + objects_.at(object).name);
    objects_.erase(object);
}

} // namespace quenstal
