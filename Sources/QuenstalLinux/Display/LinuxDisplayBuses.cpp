#include "QuenstalLinux/Display/LinuxDisplayBuses.hpp"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <utility>

#include <span>

namespace quenstal {
namespace {

/// The engine speaks of features, and nothing else goes over a bus.
PlatformStatus transfer(BusEngine& engine, I2CRequest& request, DiscoveryBudget& budget)
{
    const std::span sent(request.sendBuffer, request.sendBytes);
    if (request.replyTransactionType == I2CTransactionType::none) {
        const std::optional<VcpSetting> setting = settingIn(sent);
        return setting && setting->feature == speakerVolumeFeature ? engine.setVolume(setting->value) : EINVAL;
    }
    const std::optional<VcpFeature> feature = questionIn(sent);
    if (!feature)
        return EINVAL;
    VcpValue value;
    const PlatformStatus status = engine.get(*feature, std::chrono::nanoseconds(request.minReplyDelay), value, budget);
    if (status != 0)
        return status;
    const auto reply = vcpReply(*feature, vcp::noError, value);
    std::copy_n(reply.begin(), std::min<std::size_t>(reply.size(), request.replyBytes), request.replyBuffer);
    return 0;
}

/// FNV-1a: the same connector has the same identifier at every start.
DisplayID identifierOf(const Connector& connector)
{
    DisplayID hash = 2166136261;
    for (const char character : connector.name)
        hash = (hash ^ static_cast<unsigned char>(character)) * 16777619;
    return hash;
}

} // namespace

PlatformStatus LinuxDisplayBuses::getMatchingFramebuffers(DisplayBusObject& iterator)
{
    Engines engines;
    for (MonitorRegistry::Monitor& monitor : registry_.candidates())
        engines.push_back(std::move(monitor.engine));
    std::ranges::reverse(engines);
    iterator = add(std::move(engines));
    return 0;
}

DisplayBusObject LinuxDisplayBuses::iteratorNext(DisplayBusObject iterator)
{
    const auto left = objects_.find(iterator);
    if (left == objects_.end() || left->second.empty())
        return 0;
    std::shared_ptr<BusEngine> engine = std::move(left->second.back());
    left->second.pop_back();
    return add({std::move(engine)});
}

PlatformStatus LinuxDisplayBuses::getI2CInterfaceCount(DisplayBusObject framebuffer, std::uint32_t& count)
{
    count = engineOf(framebuffer) ? 1 : 0;
    return 0;
}

PlatformStatus LinuxDisplayBuses::copyI2CInterfaceForBus(
    DisplayBusObject framebuffer, std::uint32_t bus, DisplayBusObject& busInterface)
{
    if (bus != 0 || !engineOf(framebuffer))
        return ENXIO;
    busInterface = add(objects_.at(framebuffer));
    return 0;
}

PlatformStatus LinuxDisplayBuses::openI2CInterface(
    DisplayBusObject busInterface, std::uint32_t /*options*/, I2CConnection& connection)
{
    // The device is opened by the engine, when it has something to carry.
    if (!engineOf(busInterface))
        return ENXIO;
    connection = add(objects_.at(busInterface));
    return 0;
}

PlatformStatus LinuxDisplayBuses::sendI2CRequest(
    I2CConnection connection, std::uint32_t /*options*/, I2CRequest& request)
{
    const std::shared_ptr<BusEngine> engine = engineOf(connection);
    if (!engine)
        return ENXIO;
    if (request.sendAddress != displayWriteAddress)
        return EINVAL;
    request.result = transfer(*engine, request, registry_.discoveryBudget());
    if (request.replyTransactionType == I2CTransactionType::none && request.result == 0)
        registry_.noteWrite(engine);
    return 0;
}

PlatformStatus LinuxDisplayBuses::closeI2CInterface(I2CConnection connection, std::uint32_t /*options*/)
{
    objects_.erase(connection);
    return 0;
}

void LinuxDisplayBuses::release(DisplayBusObject object)
{
    objects_.erase(object);
}

DisplayBusObject LinuxDisplayBuses::add(Engines engines)
{
    objects_.emplace(++lastObject_, std::move(engines));
    return lastObject_;
}

std::shared_ptr<BusEngine> LinuxDisplayBuses::engineOf(std::uint32_t object) const
{
    const auto entry = objects_.find(object);
    return entry == objects_.end() || entry->second.empty() ? nullptr : entry->second.front();
}

std::vector<DisplayID> LinuxDisplays::onlineDisplays() const
{
    std::vector<DisplayID> identifiers;
    for (const Connector& connector : registry_.connectors())
        identifiers.push_back(identifierOf(connector));
    return identifiers;
}

bool LinuxDisplays::isBuiltin(DisplayID display) const
{
    return std::ranges::any_of(registry_.connectors(),
        [display](const Connector& connector) { return connector.isInternal && identifierOf(connector) == display; });
}

} // namespace quenstal
