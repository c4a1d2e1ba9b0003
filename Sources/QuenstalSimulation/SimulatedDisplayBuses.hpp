#pragma once

#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalSimulation/SimulatedMonitor.hpp"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace quenstal {

/// Buses to simulated monitors, carried out literally: a request takes the time it takes. The run loop's time stands
/// still meanwhile, as it does for a blocked main thread.
class SimulatedDisplayBuses final : public DisplayBuses {
public:
    /// Null is a bus on which nothing answers.
    using Bus = std::shared_ptr<SimulatedMonitor>;
    using Framebuffer = std::vector<Bus>;

    /// The calls that may be made to fail.
    enum class Call { getMatchingFramebuffers, getI2CInterfaceCount, copyI2CInterfaceForBus, openI2CInterface, send };

    explicit SimulatedDisplayBuses(const RunLoop& loop)
        : loop_(loop)
    {
    }

    std::vector<Framebuffer> framebuffers;
    /// A call to this framebuffer or bus ("fb1", "fb1.0"; "" for the iterator) returns this status.
    void failWith(Call call, std::string object, PlatformStatus status);
    /// The call succeeds and hands out nothing.
    void handOutNull(Call call, std::string object);

    /// One entry a call: "next -> fb0", "copy fb0.1", "send fb0.1: 51 82 01 62 de", "release fb0".
    const std::vector<std::string>& calls() const { return calls_; }
    /// The fields of every request as they were on arrival. Their buffers are gone.
    const std::vector<I2CRequest>& requests() const { return requests_; }
    /// Objects and connections not given back.
    std::size_t outstanding() const { return objects_.size(); }

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
    struct Object {
        /// Of an iterator: the framebuffer that comes next.
        std::size_t framebuffer = 0;
        std::size_t bus = 0;
        std::string name;
    };
    struct Fault {
        PlatformStatus status = 0;
        bool handsOutNull = false;
    };

    DisplayBusObject add(Object object);
    Fault faultOf(Call call, const std::string& object) const;
    PlatformStatus carry(const Bus& bus, I2CRequest& request);
    RunLoop::SteadyTime now() const { return loop_.steadyNow() + timeBlocked_; }

    const RunLoop& loop_;
    std::map<std::pair<Call, std::string>, Fault> faults_;
    std::map<std::uint32_t, Object> objects_;
    std::uint32_t lastObject_ = 0;
    RunLoop::Duration timeBlocked_{};
    std::vector<std::string> calls_;
    std::vector<I2CRequest> requests_;
};

} // namespace quenstal
