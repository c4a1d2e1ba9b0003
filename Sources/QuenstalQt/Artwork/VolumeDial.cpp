#include "QuenstalQt/Artwork/VolumeDial.hpp"

#include "QuenstalQt/Artwork/Colors.hpp"

#include <algorithm>
#include <cmath>

#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <qmath.h>

namespace quenstal {

namespace {

constexpr qreal stroke = 10;
constexpr qreal startAngle = 135;
constexpr qreal sweep = 270;
constexpr int ticks = 40;
constexpr int ticksBetweenMajor = 10;

struct ArcColors {
    QColor start;
    QColor middle;
    QColor end;
};

ArcColors arcColors(bool isLit, bool hardware)
{
    if (!isLit)
        return {QColor(110, 114, 126), QColor(132, 136, 148), QColor(160, 164, 176)};
    if (hardware)
        return {QColor(16, 176, 134), QColor(52, 217, 155), QColor(164, 255, 205)};
    return {QColor(64, 92, 255), QColor(58, 158, 255), QColor(134, 228, 255)};
}

QPen roundPen(const QBrush& brush, qreal width)
{
    return QPen(brush, width, Qt::SolidLine, Qt::RoundCap);
}

/// One painting of the dial.
class Drawing {
public:
    Drawing(QPainter& painter, QPointF center, qreal radius, qreal fraction, ArcColors colors, bool isLit)
        : painter_(painter)
        , center_(center)
        , radius_(radius)
        , fraction_(fraction)
        , colors_(std::move(colors))
        , isLit_(isLit)
    {
    }

    void face()
    {
        const qreal faceRadius = radius_ - stroke / 2 - 9;
        QRadialGradient bowl(center_ - QPointF(0, 18), radius_);
        bowl.setColorAt(0, QColor(255, 255, 255, 24));
        bowl.setColorAt(0.75, QColor(255, 255, 255, 7));
        bowl.setColorAt(1, QColor(0, 0, 0, 34));
        painter_.setPen(Qt::NoPen);
        painter_.setBrush(bowl);
        painter_.drawEllipse(center_, faceRadius, faceRadius);
        QLinearGradient edge(center_ - QPointF(0, faceRadius), center_ + QPointF(0, faceRadius));
        edge.setColorAt(0, QColor(0, 0, 0, 44));
        edge.setColorAt(0.55, QColor(255, 255, 255, 0));
        edge.setColorAt(1, QColor(255, 255, 255, 26));
        painter_.setBrush(Qt::NoBrush);
        painter_.setPen(QPen(QBrush(edge), 1));
        painter_.drawEllipse(center_, faceRadius, faceRadius);
    }

    void tickMarks()
    {
        for (int tick = 0; tick <= ticks; ++tick) {
            const qreal position = qreal(tick) / ticks;
            const bool isMajor = tick % ticksBetweenMajor == 0;
            const bool isPassed = isLit_ && position <= fraction_ + 0.0001;
            QColor color = isPassed ? colors_.middle : QColor(Qt::white);
            color = withAlpha(color, isPassed ? (isMajor ? 0.95 : 0.62) : (isMajor ? 0.36 : 0.17));
            const QPointF direction = directionAt(position);
            const qreal outer = radius_ - stroke / 2 - 5;
            const qreal inner = outer - (isMajor ? 7 : 4);
            painter_.setPen(roundPen(color, isMajor ? 1.6 : 1.1));
            painter_.drawLine(center_ + direction * outer, center_ + direction * inner);
        }
    }

    void track()
    {
        const QRectF circle = arcRect(0);
        arc(circle, 1, roundPen(QColor(0, 0, 0, 96), stroke + 2));
        QLinearGradient inset(circle.topLeft(), circle.bottomLeft());
        inset.setColorAt(0, QColor(255, 255, 255, 20));
        inset.setColorAt(1, QColor(255, 255, 255, 48));
        arc(circle, 1, roundPen(QBrush(inset), stroke));
    }

    void filledArc()
    {
        if (fraction_ <= 0.001)
            return;
        const QRectF circle = arcRect(0);
        if (isLit_) {
            for (int ring = 5; ring >= 1; --ring)
                arc(circle, fraction_, roundPen(withAlpha(colors_.middle, 0.045), stroke + ring * 3.8));
        }
        arc(circle, fraction_, roundPen(QBrush(arcGradient()), stroke));
        QLinearGradient shine(circle.topLeft(), circle.bottomLeft());
        shine.setColorAt(0, QColor(255, 255, 255, isLit_ ? 130 : 55));
        shine.setColorAt(0.6, QColor(255, 255, 255, 0));
        arc(arcRect(2.6), fraction_, roundPen(QBrush(shine), 1.2));
    }

    void handle(bool focused)
    {
        constexpr qreal handleRadius = 8.6;
        const QPointF position = center_ + directionAt(fraction_) * radius_;
        painter_.setPen(Qt::NoPen);
        if (focused) {
            painter_.setBrush(withAlpha(colors_.end, 0.28));
            painter_.drawEllipse(position, handleRadius + 4.4, handleRadius + 4.4);
        }
        for (int ring = 5; ring >= 1; --ring) {
            painter_.setBrush(QColor(0, 0, 0, 22));
            painter_.drawEllipse(position + QPointF(0, 1.6), handleRadius + ring * 0.9, handleRadius + ring * 0.9);
        }
        QLinearGradient sphere(position - QPointF(0, handleRadius), position + QPointF(0, handleRadius));
        sphere.setColorAt(0, isLit_ ? QColor(Qt::white) : QColor(214, 217, 224));
        sphere.setColorAt(1, isLit_ ? QColor(212, 220, 235) : QColor(164, 168, 179));
        painter_.setBrush(sphere);
        painter_.drawEllipse(position, handleRadius, handleRadius);
        painter_.setBrush(isLit_ ? colors_.middle : QColor(112, 116, 127));
        painter_.drawEllipse(position, 2.7, 2.7);
    }

private:
    QPointF directionAt(qreal position) const
    {
        const qreal angle = qDegreesToRadians(startAngle + sweep * position);
        return {qCos(angle), qSin(angle)};
    }

    QRectF arcRect(qreal grow) const
    {
        const qreal reach = radius_ + grow;
        return {center_.x() - reach, center_.y() - reach, 2 * reach, 2 * reach};
    }

    void arc(const QRectF& circle, qreal portion, const QPen& pen)
    {
        QPainterPath path;
        path.arcMoveTo(circle, -startAngle);
        path.arcTo(circle, -startAngle, -portion * sweep);
        painter_.strokePath(path, pen);
    }

    /// Runs anticlockwise from straight down, so the arc's portions are counted from 1 downwards.
    QConicalGradient arcGradient() const
    {
        const qreal gap = (360 - sweep) / 2 / 360;
        const auto stop = [&](qreal portion) { return std::max(0.0, 1 - gap - portion * sweep / 360); };
        QConicalGradient gradient(center_, -90);
        gradient.setColorAt(1, colors_.start);
        gradient.setColorAt(stop(0), colors_.start);
        gradient.setColorAt(stop(std::max(0.02, fraction_ * 0.55)), colors_.middle);
        gradient.setColorAt(stop(fraction_), colors_.end);
        gradient.setColorAt(0, colors_.end);
        return gradient;
    }

    QPainter& painter_;
    QPointF center_;
    qreal radius_;
    qreal fraction_;
    ArcColors colors_;
    bool isLit_;
};

} // namespace

VolumeDial::VolumeDial(QQuickItem* parent)
    : PaintedItem(parent)
{
    setAcceptedMouseButtons(Qt::LeftButton);
    setActiveFocusOnTab(true);
}

void VolumeDial::setValue(qreal value)
{
    if (std::isnan(value))
        return;
    const int percent = qRound(std::clamp<qreal>(value, minimum_, maximum_));
    if (percent == value_)
        return;
    value_ = percent;
    emit valueChanged();
}

void VolumeDial::paint(QPainter& painter, const Canvas& canvas)
{
    const bool isLit = active_ && controllable_ && !muted_;
    const qreal radius = size_ / 2 - stroke / 2 - 4;
    const qreal fraction = std::clamp(shown_ / 100, 0.0, 1.0);
    Drawing drawing(painter, canvas.bounds().center(), radius, fraction, arcColors(isLit, hardware_), isLit);
    drawing.face();
    drawing.tickMarks();
    drawing.track();
    drawing.filledArc();
    if (controllable_)
        drawing.handle(focused_);
}

void VolumeDial::mousePressEvent(QMouseEvent* event)
{
    forceActiveFocus(Qt::MouseFocusReason);
    setDragging(true);
    const QPointF place = inSquare(event->position());
    emit pressed(place.x(), place.y());
}

void VolumeDial::mouseMoveEvent(QMouseEvent* event)
{
    const QPointF place = inSquare(event->position());
    emit moved(place.x(), place.y());
}

void VolumeDial::mouseReleaseEvent(QMouseEvent*)
{
    setDragging(false);
}

void VolumeDial::mouseUngrabEvent()
{
    setDragging(false);
}

void VolumeDial::wheelEvent(QWheelEvent* event)
{
    static_assert(WheelNotches::parts == QWheelEvent::DefaultDeltasPerStep);
    if (const int notches = wheel_.turn(event->angleDelta().y()))
        emit scrolled(notches);
}

QPointF VolumeDial::inSquare(QPointF position) const
{
    return position - QPointF(width() - size_, height() - size_) / 2;
}

void VolumeDial::setDragging(bool dragging)
{
    if (dragging_ == dragging)
        return;
    dragging_ = dragging;
    emit draggingChanged();
    if (!dragging)
        emit released();
}

} // namespace quenstal
