#include "QuenstalQt/Artwork/Items.hpp"

#include "QuenstalQt/Artwork/Colors.hpp"
#include "QuenstalQt/Artwork/Symbols.hpp"

#include <algorithm>
#include <cmath>

#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>

namespace quenstal {

namespace {

constexpr qreal meterWidth = 9;
constexpr qreal lampPitch = 6.3;
constexpr qreal lampGap = 1.2;
constexpr qreal lampRadius = 1.2;
constexpr qreal clipHeight = 5;
/// Between the lamp for clipping and the column below it.
constexpr qreal clipGap = 3;

QPainterPath roundedPath(const QRectF& rect, qreal radius)
{
    QPainterPath path;
    const qreal fitting = std::min({radius, rect.width() / 2, rect.height() / 2});
    path.addRoundedRect(rect, fitting, fitting);
    return path;
}

/// Faint grain: without it the slow gradients of the glass show bands.
const QImage& grain()
{
    static const QImage image = [] {
        constexpr int side = 128;
        constexpr int alpha = 5;
        QImage noise(side, side, QImage::Format_ARGB32_Premultiplied);
        QRandomGenerator random(7);
        for (int y = 0; y < side; ++y) {
            for (int x = 0; x < side; ++x) {
                const int value = random.bounded(256) * alpha / 255;
                noise.setPixel(x, y, qRgba(value, value, value, alpha));
            }
        }
        return noise;
    }();
    return image;
}

/// Rings of falling darkness: the sum is a soft shadow that lies lower than the sheet. It ends inside the margin, or
/// its edge would be seen on a light desktop.
void paintShadow(QPainter& painter, const QRectF& body, qreal radius, qreal margin)
{
    const QPainterPath hole = roundedPath(body, radius);
    const qreal drop = margin * 0.24;
    const int rings = static_cast<int>(margin - drop);
    for (int ring = rings; ring >= 1; --ring) {
        const qreal nearness = 1 - qreal(ring - 1) / rings;
        const QRectF rect = body.adjusted(-ring, -ring + drop, ring, ring + drop);
        const QColor shade = withAlpha(Qt::black, 0.040 * nearness * nearness);
        painter.fillPath(roundedPath(rect, radius + ring).subtracted(hole), shade);
    }
}

void fillRadial(QPainter& painter, const QRectF& rect, QPointF center, qreal radius, const QColor& color, qreal alpha)
{
    QRadialGradient gradient(center, radius);
    gradient.setColorAt(0, withAlpha(color, alpha));
    gradient.setColorAt(0.5, withAlpha(color, alpha * 0.27));
    gradient.setColorAt(1, withAlpha(color, 0));
    painter.fillRect(rect, gradient);
}

/// The rectangle whose outline, stroked with a line of this width, lies just inside.
QRectF within(const QRectF& rect, qreal line)
{
    return rect.adjusted(line / 2, line / 2, -line / 2, -line / 2);
}

void paintRim(QPainter& painter, const QRectF& body, qreal radius, qreal hairline)
{
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(0, 0, 0, 150), hairline));
    painter.drawPath(roundedPath(within(body, hairline), radius - hairline / 2));
    QLinearGradient light(body.topLeft(), QPointF(body.left() + body.width() * 0.35, body.bottom()));
    light.setColorAt(0, QColor(255, 255, 255, 120));
    light.setColorAt(0.25, QColor(255, 255, 255, 50));
    light.setColorAt(0.7, QColor(255, 255, 255, 20));
    light.setColorAt(1, QColor(255, 255, 255, 54));
    painter.setPen(QPen(QBrush(light), hairline));
    painter.drawPath(roundedPath(within(body, 3 * hairline), radius - 1.5 * hairline));
}

} // namespace

void SymbolItem::paint(QPainter& painter, const Canvas& canvas)
{
    paintSymbol(painter, canvas.bounds(), name_, color_);
}

void GlassSurface::paint(QPainter& painter, const Canvas& canvas)
{
    const qreal margin = canvas.snapped(margin_);
    const QRectF body = canvas.bounds().adjusted(margin, margin, -margin, -margin);
    if (margin > 0)
        paintShadow(painter, body, radius_, margin);

    const qreal alpha = translucent_ ? 0.95 : 1;
    QLinearGradient depth(body.topLeft(), body.bottomLeft());
    depth.setColorAt(0, withAlpha(QColor(54, 57, 68), alpha));
    depth.setColorAt(0.34, withAlpha(QColor(36, 38, 47), alpha));
    depth.setColorAt(1, withAlpha(QColor(21, 22, 29), std::min(1.0, alpha + 0.03)));
    const QPainterPath outline = roundedPath(body, radius_);
    painter.fillPath(outline, depth);

    painter.save();
    painter.setClipPath(outline);
    fillRadial(painter, body, {body.left() + body.width() * 0.26, body.top() - body.height() * 0.06},
        body.width() * 0.98, Qt::white, 0.17);
    fillRadial(
        painter, body, {body.center().x(), body.bottom() + body.height() * 0.08}, body.width() * 0.85, accent_, 0.19);
    painter.fillRect(body, QBrush(grain()));
    painter.restore();
    paintRim(painter, body, radius_, canvas.hairline());
}

void GlassPlate::paint(QPainter& painter, const Canvas& canvas)
{
    if (rim_.alpha() == 0) {
        painter.fillPath(roundedPath(canvas.bounds(), radius_), color_);
        return;
    }
    const qreal hairline = canvas.hairline();
    const QRectF rect = within(canvas.bounds(), hairline);
    const QPainterPath outline = roundedPath(rect, radius_);
    painter.fillPath(outline, color_);
    const qreal strength = rim_.alphaF();
    QLinearGradient edge(rect.topLeft(), rect.bottomLeft());
    if (sunken_) {
        edge.setColorAt(0, withAlpha(Qt::black, 0.42));
        edge.setColorAt(0.18, withAlpha(rim_, strength * 0.5));
        edge.setColorAt(1, rim_);
    } else {
        edge.setColorAt(0, withAlpha(rim_, std::min(1.0, strength * 1.7)));
        edge.setColorAt(0.45, withAlpha(rim_, strength * 0.75));
        edge.setColorAt(1, withAlpha(rim_, strength * 0.55));
    }
    painter.strokePath(outline, QPen(QBrush(edge), hairline));
}

void GlassKnob::paint(QPainter& painter, const Canvas& canvas)
{
    painter.setPen(Qt::NoPen);
    constexpr qreal shadowMargin = 4;
    const QPointF center = canvas.bounds().center();
    const qreal radius = canvas.bounds().width() / 2 - canvas.snapped(shadowMargin);
    for (int ring = 5; ring >= 1; --ring) {
        painter.setBrush(QColor(0, 0, 0, 24));
        const qreal reach = radius + ring * 0.55 - 0.6;
        painter.drawEllipse(center + QPointF(0, 1.2), reach, reach);
    }
    QLinearGradient face(center - QPointF(0, radius), center + QPointF(0, radius));
    face.setColorAt(0, dimmed_ ? QColor(206, 209, 217) : QColor(255, 255, 255));
    face.setColorAt(1, dimmed_ ? QColor(158, 162, 173) : QColor(211, 218, 231));
    painter.setBrush(face);
    painter.drawEllipse(center, radius, radius);
}

void GlassGroove::paint(QPainter& painter, const Canvas& canvas)
{
    const QRectF bounds = canvas.bounds();
    const bool isUpright = bounds.height() > bounds.width();
    const qreal hairline = canvas.hairline();
    const qreal radius = std::min(bounds.width(), bounds.height()) / 2;
    painter.fillPath(roundedPath(bounds, radius), QColor(0, 0, 0, 90));
    // Seen from above, only a groove that lies has an upper edge in the shade.
    QLinearGradient edge(bounds.topLeft(), bounds.bottomLeft());
    edge.setColorAt(0, isUpright ? QColor(255, 255, 255, 24) : QColor(0, 0, 0, 70));
    edge.setColorAt(1, QColor(255, 255, 255, 24));
    painter.strokePath(roundedPath(within(bounds, hairline), radius - hairline / 2), QPen(QBrush(edge), hairline));

    const qreal from = canvas.snapped(std::min(from_, to_));
    const qreal length = canvas.snapped(std::max(from_, to_)) - from;
    if (length <= 0)
        return;
    QRectF filled = isUpright ? QRectF(0, from, bounds.width(), length) : QRectF(from, 0, length, bounds.height());
    filled = filled.intersected(bounds.adjusted(hairline, hairline, -hairline, -hairline));
    painter.fillPath(roundedPath(filled, radius), color_);
}

LevelMeters::LevelMeters(QQuickItem* parent)
    : PaintedItem(parent)
{
    connect(this, &LevelMeters::levelsChanged, this, &LevelMeters::show);
}

LevelMeters::Column LevelMeters::column() const
{
    const Canvas canvas = this->canvas();
    const qreal pitch = canvas.snapped(lampPitch);
    const qreal room = canvas.bounds().height() - canvas.snapped(clipHeight + clipGap);
    return {pitch > 0 ? static_cast<int>(room / pitch) : 0, pitch};
}

LevelMeters::Lamps LevelMeters::lampsFor(qreal level, qreal peak) const
{
    const int count = column().count;
    // A lamp is lit when the level reaches its middle.
    const int lit = static_cast<int>(std::floor(level * count + 0.5));
    return {lit, static_cast<int>(std::ceil(peak * count)) - 1};
}

void LevelMeters::show()
{
    const Look look{lampsFor(levelL_, peakL_), lampsFor(levelR_, peakR_), clipping_};
    if (look == look_)
        return;
    look_ = look;
    repaint();
}

void LevelMeters::paint(QPainter& painter, const Canvas& canvas)
{
    painter.setPen(Qt::NoPen);
    // The scale may be another one than when the levels came.
    look_ = {lampsFor(levelL_, peakL_), lampsFor(levelR_, peakR_), clipping_};
    paintColumn(painter, canvas, 0, look_.left);
    paintColumn(painter, canvas, canvas.bounds().width() - canvas.snapped(meterWidth), look_.right);
}

void LevelMeters::paintColumn(QPainter& painter, const Canvas& canvas, qreal left, const Lamps& lamps) const
{
    const qreal lampWidth = canvas.snapped(meterWidth);
    const Column column = this->column();
    const QSizeF lampSize(lampWidth, column.pitch - std::max(canvas.hairline(), canvas.snapped(lampGap)));
    for (int lamp = 0; lamp < column.count; ++lamp) {
        const qreal position = (lamp + 0.5) / column.count;
        QColor color = position < 0.70 ? QColor(64, 220, 150)
            : position < 0.90          ? QColor(255, 206, 84)
                                       : QColor(255, 128, 92);
        color.setAlphaF(lamp < lamps.lit ? 0.95F : lamp == lamps.peak ? 0.85F : 0.13F);
        painter.setBrush(color);
        const qreal top = canvas.bounds().height() - lamp * column.pitch - lampSize.height();
        painter.drawRoundedRect(QRectF(QPointF(left, top), lampSize), lampRadius, lampRadius);
    }
    // Right over the last lamp, wherever the scale has put that.
    const qreal height = canvas.snapped(clipHeight);
    const qreal top = canvas.bounds().height() - column.count * column.pitch - canvas.snapped(clipGap) - height;
    painter.setBrush(look_.clipping ? QColor(255, 82, 82) : QColor(255, 82, 82, 40));
    painter.drawRoundedRect(QRectF(left, top, lampWidth, height), lampRadius, lampRadius);
}

} // namespace quenstal
