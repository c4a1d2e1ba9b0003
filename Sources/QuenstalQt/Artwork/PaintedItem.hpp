#pragma once

#include <QQuickItem>

class QPainter;

namespace quenstal {

/// What a picture is painted on: whole picture elements of the screen, measured in points.
struct Canvas {
    QSize pixels;
    /// Picture elements for each point.
    qreal density = 1;

    QRectF bounds() const { return {QPointF(), QSizeF(pixels) / density}; }
    /// The width of a fine line that fills whole elements: the one nearest to a point, the finer of two.
    qreal hairline() const;
    /// The nearest edge between two elements.
    qreal snapped(qreal points) const { return qRound(points * density) / density; }
};

/// Base of the panel's artwork: painted with smooth edges by the raster engine, which draws arcs, rims and shadows
/// alike on every back end of the scene graph. It is painted again when one of its properties changed.
///
/// At any density and wherever it stands, its picture covers whole elements of the screen, one for one: items of one
/// size look the same, and lines along the canvas are sharp. Size and place differ from the item's by less than an
/// element.
class PaintedItem : public QQuickItem {
    Q_OBJECT

public:
    explicit PaintedItem(QQuickItem* parent = nullptr);

    /// In points, from the upper left corner of the canvas.
    virtual void paint(QPainter& painter, const Canvas& canvas) = 0;

signals:
    void lookChanged();

protected:
    /// As the item is now; empty outside a window.
    Canvas canvas() const;
    void repaint();

    void geometryChange(const QRectF& now, const QRectF& before) override;
    void itemChange(ItemChange change, const ItemChangeData& data) override;
    QSGNode* updatePaintNode(QSGNode* node, UpdatePaintNodeData* data) override;

private:
    QRectF placeOf(const Canvas& canvas) const;
    QImage picture(const Canvas& canvas);
    void stayOnElements();

    QMetaObject::Connection beforeFrames_;
    QRectF place_;
    bool isStale_ = true;
};

} // namespace quenstal
