#pragma once

#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"

namespace quenstal {

/// The monitor's speaker volume as a level. Which monitor is the transport's choice (the first that answers), so the
/// target is not looked at.
class NativeDDCVolumeController final : public DDCVolumeControlling {
public:
    explicit NativeDDCVolumeController(DisplayBuses& buses)
        : buses_(buses)
    {
    }

    /// Muted is volume 0: there is no separate mute on this path. Throws `unsupportedDevice` when nothing answers.
    VolumeSnapshot readVolume(const DisplayControlTarget& display) override;
    /// Throws `commandFailed` when no monitor took the value.
    void setVolume(const VolumeSnapshot& snapshot, const DisplayControlTarget& display) override;

private:
    DisplayBuses& buses_;
};

} // namespace quenstal
