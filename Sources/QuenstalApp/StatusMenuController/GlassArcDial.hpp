#pragma once

#include "QuenstalPlatform/Geometry.hpp"

#include <cstdint>
#include <functional>
#include <optional>

namespace quenstal {

/// A value that lives elsewhere: reading gives what is displayed, writing reports a change of the user's.
struct PercentBinding {
    std::function<std::int64_t()> read;
    std::function<void(std::int64_t)> write;
};

enum class AccessibilityAdjustment { increment, decrement, other };

/// The round volume control, without its drawing: from places and adjustments to whole percents. Locations are in
/// the coordinates of the dial's square. Main thread.
struct GlassArcDial {
    /// 0 to 100.
    PercentBinding volume;
    bool muted = false;
    bool enabled = false;
    /// The dial reacts to input.
    bool controllable = false;
    /// The output is controlled over DDC/CI.
    bool hardware = false;
    /// Width and height of the square, in points.
    double size = 166;
    /// Width of the arc's track, in points.
    double stroke = 10;
    /// Where the arc begins: 0 points right, positive angles turn towards increasing y.
    double startAngleDeg = 135;
    /// Angular length of the arc.
    double sweepDeg = 270;

    static constexpr std::int64_t adjustmentStep = 2;

    /// One change of a drag. Writes only a percent that differs from the displayed one.
    void drag(Point location) const;
    /// One step of the accessibility actions.
    void adjust(AccessibilityAdjustment adjustment) const;

    /// The percent at a location: beyond the arc's ends the nearer end, exactly between them 0.
    std::int64_t percentAt(Point location) const;
    /// Degrees from the arc's beginning along the arc, 0 to 360; beyond `sweepDeg` is the gap between its ends.
    double relativeAngle(Point location) const;
    /// Writes a percent that differs from the displayed one, when controllable.
    void setPercent(std::int64_t percent) const;
};

/// One press on the dial, from button down to button up. It keeps a click on the read-out from moving the volume,
/// and a drag that slips through the gap from jumping between silence and full volume. Main thread.
class GlassArcDialGesture {
public:
    /// Radius of the centre read-out, in sizes of the dial.
    static constexpr double readoutRadius = 0.4;
    /// Movement that makes a press on the read-out a drag, in points.
    static constexpr double dragThreshold = 4;

    /// A press on the arc sets the volume at once, one on the read-out only after the pointer has moved.
    void press(const GlassArcDial& dial, Point location);
    void move(const GlassArcDial& dial, Point location);
    void release() { phase_ = Phase::idle; }

    /// The pointer is setting the volume.
    bool isDragging() const { return phase_ == Phase::dragging; }

private:
    enum class Phase { idle, pressedOnReadout, dragging };
    enum class Side { start, end };

    void begin(const GlassArcDial& dial, Point location);
    void drag(const GlassArcDial& dial, Point location);

    Phase phase_ = Phase::idle;
    Point pressedAt_;
    /// Where on the arc the drag is, in degrees from its beginning.
    double angle_ = 0;
    /// The arc's end at which the drag is held.
    std::optional<Side> heldAt_;
};

} // namespace quenstal
