#pragma once

#include "QuenstalApp/StatusMenuController/GlassDialViewState.hpp"
#include "QuenstalPlatform/Desktop.hpp"

#include <optional>
#include <vector>

namespace quenstal {

/// Where the panel goes and how large it is: pure functions, in points.
struct PanelGeometry {
    static constexpr double width = 344;
    /// Kept free between the panel and the edges of the screen.
    static constexpr double margin = 8;

    /// The side of the screen on which the tray is.
    enum class BarSide { top, bottom, left, right };

    struct Placement {
        Rect frame;
        BarSide side = BarSide::top;

        bool operator==(const Placement&) const = default;
    };

    static Size windowSize(GlassDialViewState::Screen screen, const GlassDialSnapshot& snapshot);

    /// The screen that holds the anchor's centre, else the main one; none without screens.
    static std::optional<DesktopScreen> screenOf(const Rect& anchor, const std::vector<DesktopScreen>& screens);
    static BarSide barSide(const Rect& anchor, const DesktopScreen& screen);

    /// Under the anchor at a top bar, else away from the bar, inside the visible frame.
    static Placement placement(const Rect& anchor, const std::optional<DesktopScreen>& screen, Size size);
    /// Where there is nothing to anchor to: the corner at which most desktops have their tray.
    static Placement unanchoredPlacement(const std::optional<DesktopScreen>& screen, Size size);

    /// Another size: the edge next to the bar and the middle along the bar stay, and the panel stays on its screen.
    static Rect resized(const Rect& frame, Size size, BarSide side, const std::optional<DesktopScreen>& screen);
};

} // namespace quenstal
