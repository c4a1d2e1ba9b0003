#pragma once

#include <QQuickPaintedItem>

namespace quenstal {

/// Base of the panel's artwork: painted with smooth edges by the raster engine, which draws arcs, rims and shadows
/// alike on every back end of the scene graph. It is painted again when one of its properties changed.
class PaintedItem : public QQuickPaintedItem {
    Q_OBJECT

public:
    explicit PaintedItem(QQuickItem* parent = nullptr)
        : QQuickPaintedItem(parent)
    {
        setAntialiasing(true);
        connect(this, &PaintedItem::lookChanged, this, [this] { update(); });
    }

signals:
    void lookChanged();
};

} // namespace quenstal
