#pragma once

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

} // namespace quenstal
