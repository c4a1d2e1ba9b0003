#pragma once

// The small pieces of the panel's artwork.

#include "QuenstalQt/Artwork/PaintedItem.hpp"

#include <QColor>
#include <QString>

namespace quenstal {

/// One symbol in one colour.
class SymbolItem : public PaintedItem {
    Q_OBJECT
    Q_PROPERTY(QString name MEMBER name_ NOTIFY lookChanged)
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY lookChanged)

public:
    using PaintedItem::PaintedItem;
    void paint(QPainter* painter) override;

private:
    QString name_;
    QColor color_ = Qt::white;
};

/// The panel's sheet of glass: body, light from the upper left, a glow of the accent from below, a rim, and around
/// it a margin for the shadow.
class GlassSurface : public PaintedItem {
    Q_OBJECT
    Q_PROPERTY(qreal radius MEMBER radius_ NOTIFY lookChanged)
    /// Width of the shadow; 0 where no compositor blends it.
    Q_PROPERTY(qreal margin MEMBER margin_ NOTIFY lookChanged)
    Q_PROPERTY(QColor accent MEMBER accent_ NOTIFY lookChanged)
    /// Lets the desktop shine through a little.
    Q_PROPERTY(bool translucent MEMBER translucent_ NOTIFY lookChanged)

public:
    using PaintedItem::PaintedItem;
    void paint(QPainter* painter) override;

private:
    qreal radius_ = 24;
    qreal margin_ = 0;
    QColor accent_{70, 110, 255};
    bool translucent_ = true;
};

/// A rounded plate on the glass, raised (light on its upper edge) or sunken (shade on it).
class GlassPlate : public PaintedItem {
    Q_OBJECT
    Q_PROPERTY(qreal radius MEMBER radius_ NOTIFY lookChanged)
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY lookChanged)
    Q_PROPERTY(QColor rim MEMBER rim_ NOTIFY lookChanged)
    Q_PROPERTY(bool sunken MEMBER sunken_ NOTIFY lookChanged)

public:
    using PaintedItem::PaintedItem;
    void paint(QPainter* painter) override;

private:
    qreal radius_ = 16;
    QColor color_{255, 255, 255, 18};
    QColor rim_{255, 255, 255, 26};
    bool sunken_ = false;
};

/// A round handle with a soft shadow; its margin for the shadow is 4 points on each side.
class GlassKnob : public PaintedItem {
    Q_OBJECT
    Q_PROPERTY(bool dimmed MEMBER dimmed_ NOTIFY lookChanged)

public:
    using PaintedItem::PaintedItem;
    void paint(QPainter* painter) override;

private:
    bool dimmed_ = false;
};

/// The level of one channel as a column of lamps, with a lamp that holds the peak and one on top for clipping.
class LevelMeter : public PaintedItem {
    Q_OBJECT
    /// 0 to 1, by decibels: 0 is silence, 1 is full scale.
    Q_PROPERTY(qreal level MEMBER level_ NOTIFY lookChanged)
    Q_PROPERTY(qreal peak MEMBER peak_ NOTIFY lookChanged)
    Q_PROPERTY(bool clipping MEMBER clipping_ NOTIFY lookChanged)

public:
    using PaintedItem::PaintedItem;
    void paint(QPainter* painter) override;

private:
    qreal level_ = 0;
    qreal peak_ = 0;
    bool clipping_ = false;
};

} // namespace quenstal
