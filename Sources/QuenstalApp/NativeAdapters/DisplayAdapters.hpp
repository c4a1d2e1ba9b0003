#pragma once

// The monitor behind an output, and the volume of its speakers.

#include "QuenstalCore/Ports.hpp"
#include "QuenstalPlatform/DisplayBuses.hpp"
#include "QuenstalPlatform/Displays.hpp"

namespace quenstal {

/// Finds the external display behind an output that is a monitor, and whether its speakers answer.
class CoreGraphicsDisplayProvider final : public DisplayTargetProviding {
public:
    CoreGraphicsDisplayProvider(Displays& displays, DisplayBuses& buses)
        : displays_(displays)
        , buses_(buses)
    {
    }

    /// The first display that is not built in, even when it does not answer; the caller then sees `supportsDDC` false.
    std::optional<DisplayControlTarget> displayTarget(const AudioOutputDevice& device) override;

private:
    Displays& displays_;
    DisplayBuses& buses_;
};

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
