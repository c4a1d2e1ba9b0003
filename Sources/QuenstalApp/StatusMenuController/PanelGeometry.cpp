#include "QuenstalApp/StatusMenuController/PanelGeometry.hpp"

#include <algorithm>

namespace quenstal {

namespace {

constexpr double dialHeight = 383;
constexpr double setupHeight = 481;
/// The equalizer's frame around its content.
constexpr double equalizerChrome = 12 - 1;

/// An icon this close to the top or the bottom is in a bar there, even when a side is closer still: trays sit in
/// corners.
constexpr double cornerReach = 64;

double currentEqualizerHeight(const GlassDialSnapshot& snapshot)
{
    if (!snapshot.eqAvailable)
        return 300;
    return snapshot.eqBoostHintVisible ? 502 : 464;
}

/// Raised to the lower limit first, then lowered to the upper one, which wins when there is no room for both.
double within(double value, double lower, double upper)
{
    return std::min(std::max(value, lower), upper);
}

double xWithin(double x, const Rect& visible, double width)
{
    return within(x, visible.minX() + PanelGeometry::margin, visible.maxX() - width - PanelGeometry::margin);
}

/// As for x, but the top wins: a panel that is too tall keeps its upper part.
double yWithin(double y, const Rect& visible, double height)
{
    const double lowest = visible.maxY() - height - PanelGeometry::margin;
    return std::max(std::min(y, lowest), visible.minY() + PanelGeometry::margin);
}

Rect visibleFrame(const std::optional<DesktopScreen>& screen)
{
    return screen ? screen->visibleFrame : Rect{};
}

} // namespace

Size PanelGeometry::windowSize(GlassDialViewState::Screen screen, const GlassDialSnapshot& snapshot)
{
    switch (screen) {
    case GlassDialViewState::Screen::dial:
        return {width, dialHeight};
    case GlassDialViewState::Screen::setup:
        return {width, setupHeight};
    case GlassDialViewState::Screen::equalizer:
        break;
    }
    return {width, currentEqualizerHeight(snapshot) + equalizerChrome};
}

std::optional<DesktopScreen> PanelGeometry::screenOf(const Rect& anchor, const std::vector<DesktopScreen>& screens)
{
    if (screens.empty())
        return std::nullopt;
    const Point centre{anchor.midX(), anchor.midY()};
    const auto holds = [&](const DesktopScreen& screen) { return screen.frame.contains(centre); };
    const auto found = std::ranges::find_if(screens, holds);
    return found != screens.end() ? *found : screens.front();
}

PanelGeometry::BarSide PanelGeometry::barSide(const Rect& anchor, const DesktopScreen& screen)
{
    const Rect& visible = screen.visibleFrame;
    if (anchor.midY() < visible.minY())
        return BarSide::top;
    if (anchor.midY() >= visible.maxY())
        return BarSide::bottom;
    if (anchor.midX() < visible.minX())
        return BarSide::left;
    if (anchor.midX() >= visible.maxX())
        return BarSide::right;
    // A bar that takes no room from the windows: the nearest edge.
    const double top = anchor.midY() - screen.frame.minY();
    const double bottom = screen.frame.maxY() - anchor.midY();
    const double left = anchor.midX() - screen.frame.minX();
    const double right = screen.frame.maxX() - anchor.midX();
    const double vertical = std::min(top, bottom);
    if (vertical <= cornerReach || vertical <= std::min(left, right))
        return top <= bottom ? BarSide::top : BarSide::bottom;
    return left <= right ? BarSide::left : BarSide::right;
}

PanelGeometry::Placement PanelGeometry::placement(
    const Rect& anchor, const std::optional<DesktopScreen>& screen, Size size)
{
    const Rect visible = visibleFrame(screen);
    const BarSide side = screen ? barSide(anchor, *screen) : BarSide::top;
    double x = xWithin(anchor.midX() - size.width / 2, visible, size.width);
    double y = yWithin(anchor.midY() - size.height / 2, visible, size.height);
    switch (side) {
    case BarSide::top:
        // May touch the bar: the margin is kept to the other edges only.
        y = std::min(std::max(visible.minY(), anchor.maxY()), visible.maxY() - size.height - margin);
        break;
    case BarSide::bottom:
        y = std::max(std::min(visible.maxY(), anchor.minY()) - size.height, visible.minY() + margin);
        break;
    case BarSide::left:
        x = std::min(std::max(visible.minX(), anchor.maxX()), visible.maxX() - size.width - margin);
        break;
    case BarSide::right:
        x = std::max(std::min(visible.maxX(), anchor.minX()) - size.width, visible.minX() + margin);
        break;
    }
    return {{x, y, size.width, size.height}, side};
}

PanelGeometry::Placement PanelGeometry::unanchoredPlacement(const std::optional<DesktopScreen>& screen, Size size)
{
    const Rect visible = visibleFrame(screen);
    const double x = visible.maxX() - size.width - margin;
    return {{x, visible.minY() + margin, size.width, size.height}, BarSide::top};
}

Rect PanelGeometry::resized(const Rect& frame, Size size, BarSide side, const std::optional<DesktopScreen>& screen)
{
    double x = frame.midX() - size.width / 2;
    double y = frame.minY();
    switch (side) {
    case BarSide::top:
        break;
    case BarSide::bottom:
        y = frame.maxY() - size.height;
        break;
    case BarSide::left:
        x = frame.minX();
        y = frame.midY() - size.height / 2;
        break;
    case BarSide::right:
        x = frame.maxX() - size.width;
        y = frame.midY() - size.height / 2;
        break;
    }
    if (!screen)
        return {x, y, size.width, size.height};
    const Rect& visible = screen->visibleFrame;
    // The panel touches its bar and keeps the margin to the other edges.
    const auto marginAt = [side](BarSide edge) { return side == edge ? 0 : margin; };
    const double lowest = visible.maxY() - size.height - marginAt(BarSide::bottom);
    const double rightmost = visible.maxX() - size.width - marginAt(BarSide::right);
    y = std::max(std::min(y, lowest), visible.minY() + marginAt(BarSide::top));
    x = std::max(std::min(x, rightmost), visible.minX() + marginAt(BarSide::left));
    return {x, y, size.width, size.height};
}

} // namespace quenstal
