#include "QuenstalQt/Artwork/ResponseCurve.hpp"

#include <QPainter>
#include <QPainterPath>

namespace quenstal {

namespace {

QColor tinted(const QColor& color, int alpha)
{
    return QColor(color.red(), color.green(), color.blue(), alpha);
}

} // namespace

void ResponseCurve::paintGrid(QPainter& painter, const Canvas& canvas) const
{
    for (const int decibels : {-12, -6, 0, 6, 12}) {
        const QRectF line(0, canvas.snapped(yOf(decibels)), canvas.bounds().width(), canvas.hairline());
        painter.fillRect(line, QColor(255, 255, 255, decibels == 0 ? 50 : 18));
    }
}

void ResponseCurve::paint(QPainter& painter, const Canvas& canvas)
{
    paintGrid(painter, canvas);
    if (response_.size() < 2)
        return;

    QPainterPath curve(QPointF(0, yOf(response_.first())));
    const qreal pitch = width() / static_cast<qreal>(response_.size() - 1);
    for (qsizetype point = 1; point < response_.size(); ++point)
        curve.lineTo(pitch * static_cast<qreal>(point), yOf(response_[point]));

    const QColor color = active_ ? QColor(88, 150, 255) : QColor(150, 154, 164);
    QPainterPath area = curve;
    area.lineTo(width(), yOf(0));
    area.lineTo(0, yOf(0));
    area.closeSubpath();
    QLinearGradient depth(0, 0, 0, height());
    depth.setColorAt(0, tinted(color, 120));
    depth.setColorAt(0.5, tinted(color, 30));
    depth.setColorAt(1, tinted(color, 120));
    painter.setClipRect(canvas.bounds());
    painter.fillPath(area, depth);
    for (int ring = 3; ring >= 1; --ring)
        painter.strokePath(curve, QPen(tinted(color, 22), 1.6 + ring * 3));
    painter.strokePath(curve, QPen(color.lighter(118), 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}

} // namespace quenstal
