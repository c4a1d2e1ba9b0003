#include "QuenstalQt/Artwork/Items.hpp"

#include "QuenstalQt/Artwork/Symbols.hpp"

#include <algorithm>
#include <cmath>

#include <QPainter>
#include <QPainterPath>
#include <QRandomGenerator>

namespace quenstal {

namespace {

constexpr int lampCount = 26;
constexpr qreal meterWidth = 9;

QPainterPath roundedPath(const QRectF& rect, qreal radius)
{
    QPainterPath path;
    const qreal fitting = std::min({radius, rect.width() / 2, rect.height() / 2});
    path.addRoundedRect(rect, fitting, fitting);
    return path;
}

QColor withAlpha(QColor color, qreal alpha)
{
    color.setAlphaF(static_cast<float>(alpha));
    return color;
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

/// Rings of falling darkness: the sum is a soft shadow that lies lower than the sheet.
void paintShadow(QPainter& painter, const QRectF& body, qreal radius, qreal margin)
{
    const QPainterPath hole = roundedPath(body, radius);
    const int rings = static_cast<int>(margin);
    const qreal drop = margin * 0.28;
    for (int ring = rings; ring >= 1; --ring) {
        const qreal nearness = 1 - ring / margin;
        const QRectF rect = body.adjusted(-ring, -ring + drop, ring, ring + drop - 2);
        const QColor shade = withAlpha(Qt::black, 0.030 * nearness * nearness + 0.002);
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

void paintRim(QPainter& painter, const QRectF& body, qreal radius)
{
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor(0, 0, 0, 150), 1));
    painter.drawPath(roundedPath(body.adjusted(0.5, 0.5, -0.5, -0.5), radius - 0.5));
    QLinearGradient light(body.topLeft(), QPointF(body.left() + body.width() * 0.35, body.bottom()));
    light.setColorAt(0, QColor(255, 255, 255, 120));
    light.setColorAt(0.25, QColor(255, 255, 255, 50));
    light.setColorAt(0.7, QColor(255, 255, 255, 20));
    light.setColorAt(1, QColor(255, 255, 255, 54));
    painter.setPen(QPen(QBrush(light), 1));
    painter.drawPath(roundedPath(body.adjusted(1.5, 1.5, -1.5, -1.5), radius - 1.5));
}

} // namespace

void SymbolItem::paint(QPainter* painter)
{
    paintSymbol(*painter, boundingRect(), name_, color_);
}

void GlassSurface::paint(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing);
    const QRectF body = boundingRect().adjusted(margin_, margin_, -margin_, -margin_);
    if (margin_ > 0)
        paintShadow(*painter, body, radius_, margin_);

    const qreal alpha = translucent_ ? 0.95 : 1;
    QLinearGradient depth(body.topLeft(), body.bottomLeft());
    depth.setColorAt(0, withAlpha(QColor(54, 57, 68), alpha));
    depth.setColorAt(0.34, withAlpha(QColor(36, 38, 47), alpha));
    depth.setColorAt(1, withAlpha(QColor(21, 22, 29), std::min(1.0, alpha + 0.03)));
    const QPainterPath outline = roundedPath(body, radius_);
    painter->fillPath(outline, depth);

    painter->save();
    painter->setClipPath(outline);
    fillRadial(*painter, body, {body.left() + body.width() * 0.26, body.top() - body.height() * 0.06},
        body.width() * 0.98, Qt::white, 0.17);
    fillRadial(
        *painter, body, {body.center().x(), body.bottom() + body.height() * 0.08}, body.width() * 0.85, accent_, 0.19);
    painter->fillRect(body, QBrush(grain()));
    painter->restore();
    paintRim(*painter, body, radius_);
}

void GlassPlate::paint(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing);
    const QRectF rect = boundingRect().adjusted(0.5, 0.5, -0.5, -0.5);
    const QPainterPath outline = roundedPath(rect, radius_);
    painter->fillPath(outline, color_);

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
    painter->strokePath(outline, QPen(QBrush(edge), 1));
}

void GlassKnob::paint(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    constexpr qreal shadowMargin = 4;
    const QPointF center = boundingRect().center();
    const qreal radius = width() / 2 - shadowMargin;
    for (int ring = 5; ring >= 1; --ring) {
        painter->setBrush(QColor(0, 0, 0, 24));
        const qreal reach = radius + ring * 0.55 - 0.6;
        painter->drawEllipse(center + QPointF(0, 1.2), reach, reach);
    }
    QLinearGradient face(center - QPointF(0, radius), center + QPointF(0, radius));
    face.setColorAt(0, dimmed_ ? QColor(206, 209, 217) : QColor(255, 255, 255));
    face.setColorAt(1, dimmed_ ? QColor(158, 162, 173) : QColor(211, 218, 231));
    painter->setBrush(face);
    painter->drawEllipse(center, radius, radius);
}

LevelMeters::LevelMeters(QQuickItem* parent)
    : PaintedItem(parent)
{
    connect(this, &LevelMeters::levelsChanged, this, &LevelMeters::show);
}

LevelMeters::Lamps LevelMeters::lampsFor(qreal level, qreal peak)
{
    // A lamp is lit when the level reaches its middle.
    const int lit = static_cast<int>(std::floor(level * lampCount + 0.5));
    return {lit, static_cast<int>(std::ceil(peak * lampCount)) - 1};
}

void LevelMeters::show()
{
    const Look look{lampsFor(levelL_, peakL_), lampsFor(levelR_, peakR_), clipping_};
    if (look == look_)
        return;
    look_ = look;
    update();
}

void LevelMeters::paint(QPainter* painter)
{
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    paintColumn(*painter, 0, look_.left);
    paintColumn(*painter, width() - meterWidth, look_.right);
}

void LevelMeters::paintColumn(QPainter& painter, qreal left, const Lamps& lamps) const
{
    constexpr qreal clipHeight = 5;
    painter.setBrush(look_.clipping ? QColor(255, 82, 82) : QColor(255, 82, 82, 40));
    painter.drawRoundedRect(QRectF(left, 0, meterWidth, clipHeight), 2, 2);

    const qreal pitch = (height() - clipHeight - 3) / lampCount;
    for (int lamp = 0; lamp < lampCount; ++lamp) {
        const qreal position = (lamp + 0.5) / lampCount;
        QColor color = position < 0.70 ? QColor(64, 220, 150)
            : position < 0.90          ? QColor(255, 206, 84)
                                       : QColor(255, 128, 92);
        color.setAlphaF(lamp < lamps.lit ? 0.95F : lamp == lamps.peak ? 0.85F : 0.13F);
        painter.setBrush(color);
        painter.drawRoundedRect(QRectF(left, height() - (lamp + 1) * pitch + 0.6, meterWidth, pitch - 1.2), 1.2, 1.2);
    }
}

} // namespace quenstal
