#include "QuenstalQt/Artwork/PaintedItem.hpp"

#include <algorithm>
#include <cmath>

#include <QImage>
#include <QPainter>
#include <QQuickWindow>
#include <QSGImageNode>

namespace quenstal {

namespace {

int nearestDownwards(qreal value)
{
    return static_cast<int>(std::ceil(value - 0.5));
}

/// At least one element, so that nothing vanishes; rounded as windows are.
int pixelsFor(qreal points, qreal density)
{
    return points > 0 ? std::max(1, qRound(points * density)) : 0;
}

} // namespace

qreal Canvas::hairline() const
{
    return std::max(1, nearestDownwards(density)) / density;
}

PaintedItem::PaintedItem(QQuickItem* parent)
    : QQuickItem(parent)
{
    setFlag(ItemHasContents);
    connect(this, &PaintedItem::lookChanged, this, &PaintedItem::repaint);
}

Canvas PaintedItem::canvas() const
{
    if (!window())
        return {};
    const qreal density = window()->effectiveDevicePixelRatio();
    return {QSize(pixelsFor(width(), density), pixelsFor(height(), density)), density};
}

void PaintedItem::repaint()
{
    isStale_ = true;
    update();
}

void PaintedItem::geometryChange(const QRectF& now, const QRectF& before)
{
    QQuickItem::geometryChange(now, before);
    if (now.size() != before.size())
        repaint();
}

void PaintedItem::itemChange(ItemChange change, const ItemChangeData& data)
{
    QQuickItem::itemChange(change, data);
    if (change == ItemDevicePixelRatioHasChanged)
        repaint();
    if (change != ItemSceneChange)
        return;
    disconnect(beforeFrames_);
    if (data.window)
        beforeFrames_ = connect(data.window, &QQuickWindow::afterAnimating, this, &PaintedItem::stayOnElements);
}

/// Items get no notice when one of their ancestors moves.
void PaintedItem::stayOnElements()
{
    if (isVisible() && placeOf(canvas()) != place_)
        update();
}

/// The picture's rectangle in the item: its middle stays as near to the item's as the elements allow.
QRectF PaintedItem::placeOf(const Canvas& canvas) const
{
    const QPointF middle = mapToScene(boundingRect().center()) * canvas.density;
    const QPointF corner(nearestDownwards(middle.x() - canvas.pixels.width() / 2.0),
        nearestDownwards(middle.y() - canvas.pixels.height() / 2.0));
    return {mapFromScene(corner / canvas.density), canvas.bounds().size()};
}

QImage PaintedItem::picture(const Canvas& canvas)
{
    QImage image(canvas.pixels, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(canvas.density);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    paint(painter, canvas);
    return image;
}

QSGNode* PaintedItem::updatePaintNode(QSGNode* node, UpdatePaintNodeData*)
{
    const Canvas now = canvas();
    auto* shown = static_cast<QSGImageNode*>(node);
    if (now.pixels.isEmpty()) {
        delete shown;
        isStale_ = true;
        return nullptr;
    }
    if (!shown) {
        shown = window()->createImageNode();
        shown->setOwnsTexture(true);
        shown->setFiltering(QSGTexture::Nearest);
        isStale_ = true;
    }
    if (isStale_) {
        shown->setTexture(window()->createTextureFromImage(picture(now)));
        shown->setSourceRect(QRectF(QPointF(), now.pixels));
        isStale_ = false;
    }
    place_ = placeOf(now);
    shown->setRect(place_);
    return shown;
}

} // namespace quenstal
