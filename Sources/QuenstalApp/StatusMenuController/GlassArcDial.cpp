#include "QuenstalApp/StatusMenuController/GlassArcDial.hpp"

#include "QuenstalCore/ProgrammingError.hpp"

#include <algorithm>
#include <cmath>

namespace quenstal {

namespace {

constexpr double pi = 3.141592653589793;
constexpr double fullTurn = 360;

std::int64_t wholePercent(double percent)
{
    const double rounded = std::round(percent);
    // 2^63 is the first value beyond; the comparison is false for NaN.
    constexpr double beyond = 9223372036854775808.0;
    if (!(rounded >= -beyond && rounded < beyond))
        programmingError("the dial's percent is no whole number");
    return std::clamp<std::int64_t>(static_cast<std::int64_t>(rounded), 0, 100);
}

double distance(Point a, Point b)
{
    return std::hypot(a.x - b.x, a.y - b.y);
}

} // namespace

double GlassArcDial::relativeAngle(Point location) const
{
    const double centre = size * 0.5;
    const double angle = std::atan2(location.y - centre, location.x - centre) * 180 / pi;
    const double relative = angle - startAngleDeg;
    return relative < 0 ? relative + fullTurn : relative;
}

std::int64_t GlassArcDial::percentAt(Point location) const
{
    double relative = relativeAngle(location);
    if (relative > sweepDeg)
        relative = relative < (sweepDeg + fullTurn) * 0.5 ? sweepDeg : 0;
    return wholePercent(relative / sweepDeg * 100);
}

void GlassArcDial::setPercent(std::int64_t percent) const
{
    if (controllable && percent != volume.read())
        volume.write(percent);
}

void GlassArcDial::drag(Point location) const
{
    if (controllable)
        setPercent(percentAt(location));
}

void GlassArcDial::adjust(AccessibilityAdjustment adjustment) const
{
    if (!controllable)
        return;
    switch (adjustment) {
    case AccessibilityAdjustment::increment:
        volume.write(std::min<std::int64_t>(volume.read() + adjustmentStep, 100));
        return;
    case AccessibilityAdjustment::decrement:
        volume.write(std::max<std::int64_t>(volume.read() - adjustmentStep, 0));
        return;
    case AccessibilityAdjustment::other:
        return;
    }
}

void GlassArcDialGesture::press(const GlassArcDial& dial, Point location)
{
    pressedAt_ = location;
    phase_ = Phase::idle;
    if (!dial.controllable)
        return;
    const Point centre{dial.size * 0.5, dial.size * 0.5};
    if (distance(location, centre) < dial.size * readoutRadius)
        phase_ = Phase::pressedOnReadout;
    else
        begin(dial, location);
}

void GlassArcDialGesture::move(const GlassArcDial& dial, Point location)
{
    if (phase_ == Phase::dragging)
        drag(dial, location);
    else if (phase_ == Phase::pressedOnReadout && distance(location, pressedAt_) >= dragThreshold)
        begin(dial, location);
}

void GlassArcDialGesture::begin(const GlassArcDial& dial, Point location)
{
    phase_ = Phase::dragging;
    heldAt_.reset();
    // A drag that begins in the gap begins at the nearer end.
    angle_ = static_cast<double>(dial.percentAt(location)) / 100 * dial.sweepDeg;
    drag(dial, location);
}

void GlassArcDialGesture::drag(const GlassArcDial& dial, Point location)
{
    const double middle = dial.sweepDeg * 0.5;
    const double angle = dial.relativeAngle(location);
    const bool isInGap = angle > dial.sweepDeg;
    const Side side = angle < middle ? Side::start : Side::end;
    // The short way between two places more than half a turn apart along the arc leads through the gap.
    const bool crossedGap = !isInGap && std::abs(angle - angle_) > fullTurn * 0.5;

    if (!heldAt_ && (isInGap || crossedGap))
        heldAt_ = angle_ < middle ? Side::start : Side::end;
    else if (heldAt_ && !isInGap && side == *heldAt_)
        heldAt_.reset();

    if (heldAt_)
        angle_ = *heldAt_ == Side::start ? 0 : dial.sweepDeg;
    else
        angle_ = angle;
    dial.setPercent(heldAt_ ? (*heldAt_ == Side::start ? 0 : 100) : dial.percentAt(location));
}

} // namespace quenstal
