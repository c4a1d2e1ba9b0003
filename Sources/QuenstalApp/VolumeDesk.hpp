#pragma once

#include "QuenstalCore/QuenstalController.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace quenstal {

/// The one place of the shell that gives the controller volume commands: it knows what was asked for, where, and what
/// became of it. Main thread.
class VolumeDesk {
public:
    /// The buses outlive it.
    VolumeDesk(DisplayBusHealth& displayBusHealth, std::shared_ptr<QuenstalController> controller)
        : displayBusHealth_(displayBusHealth)
        , controller_(std::move(controller))
    {
    }

    const std::shared_ptr<QuenstalController>& controller() const { return controller_; }

    /// True when it was carried out, over whichever path.
    bool handle(const VolumeCommand& command);
    /// A command that a monitor accepted and lost is carried out after all: on the output and the monitor that it was
    /// meant for, and on no other. It makes nothing louder than what was asked for, and nothing louder at all when it
    /// asked for less.
    void makeUpForLostWrite();

private:
    /// What a monitor was told last.
    struct Written {
        std::string output;
        ControlMode mode;
        VolumeSnapshot before;
        VolumeSnapshot wanted;
    };

    bool apply(const VolumeCommand& command);
    void apply(const VolumeSnapshot& wanted);
    bool isWhereItWasMeantFor(const Written& lost) const;

    DisplayBusHealth& displayBusHealth_;
    std::shared_ptr<QuenstalController> controller_;
    std::optional<Written> written_;
};

} // namespace quenstal
