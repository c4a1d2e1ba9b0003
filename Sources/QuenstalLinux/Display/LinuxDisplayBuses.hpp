#pragma once

#include "QuenstalLinux/Display/MonitorRegistry.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Displays.hpp"

#include <memory>
#include <unordered_map>

namespace quenstal {

/// Each external monitor is a framebuffer with one bus, or none when its bus is not known. The statuses are errnos.
class LinuxDisplayBuses final : public DisplayBuses {
public:
    explicit LinuxDisplayBuses(MonitorRegistry& registry)
        : registry_(registry)
    {
    }

    PlatformStatus getMatchingFramebuffers(DisplayBusObject& iterator) override;
    DisplayBusObject iteratorNext(DisplayBusObject iterator) override;
    PlatformStatus getI2CInterfaceCount(DisplayBusObject framebuffer, std::uint32_t& count) override;
    PlatformStatus copyI2CInterfaceForBus(
        DisplayBusObject framebuffer, std::uint32_t bus, DisplayBusObject& busInterface) override;
    PlatformStatus openI2CInterface(
        DisplayBusObject busInterface, std::uint32_t options, I2CConnection& connection) override;
    PlatformStatus sendI2CRequest(I2CConnection connection, std::uint32_t options, I2CRequest& request) override;
    PlatformStatus closeI2CInterface(I2CConnection connection, std::uint32_t options) override;
    void release(DisplayBusObject object) override;

private:
    /// Of an iterator: what is still to come, the next one last. Of anything else: its one engine.
    using Engines = std::vector<std::shared_ptr<BusEngine>>;

    DisplayBusObject add(Engines engines);
    std::shared_ptr<BusEngine> engineOf(std::uint32_t object) const;

    MonitorRegistry& registry_;
    std::unordered_map<std::uint32_t, Engines> objects_;
    std::uint32_t lastObject_ = 0;
};

/// Connectors as displays: candidates for the current output's volume first.
class LinuxDisplays final : public Displays {
public:
    explicit LinuxDisplays(MonitorRegistry& registry)
        : registry_(registry)
    {
    }

    std::vector<DisplayID> onlineDisplays() const override;
    bool isBuiltin(DisplayID display) const override;

private:
    MonitorRegistry& registry_;
};

} // namespace quenstal
