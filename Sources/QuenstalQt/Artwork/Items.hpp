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
    void paint(QPainter& painter, const Canvas& canvas) override;

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
    void paint(QPainter& painter, const Canvas& canvas) override;

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
    void paint(QPainter& painter, const Canvas& canvas) override;

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
    void paint(QPainter& painter, const Canvas& canvas) override;

private:
    bool dimmed_ = false;
};

/// The groove of a slider or a level, filled from one place to another. It lies as it is longer.
class GlassGroove : public PaintedItem {
    Q_OBJECT
    /// Points from the left or the upper end, in either order.
    Q_PROPERTY(qreal from MEMBER from_ NOTIFY lookChanged)
    Q_PROPERTY(qreal to MEMBER to_ NOTIFY lookChanged)
    Q_PROPERTY(QColor color MEMBER color_ NOTIFY lookChanged)

public:
    using PaintedItem::PaintedItem;
    void paint(QPainter& painter, const Canvas& canvas) override;

private:
    qreal from_ = 0;
    qreal to_ = 0;
    QColor color_ = Qt::white;
};

/// The levels of both channels, each a column of lamps with a lamp that holds the peak and one on top for clipping.
/// One item, not two: the scene graph blends one changed rectangle far faster than two, and nothing is painted while
/// the same lamps are lit.
class LevelMeters : public PaintedItem {
    Q_OBJECT
    /// 0 to 1, by decibels: 0 is silence, 1 is full scale.
    Q_PROPERTY(qreal levelL MEMBER levelL_ NOTIFY levelsChanged)
    Q_PROPERTY(qreal levelR MEMBER levelR_ NOTIFY levelsChanged)
    Q_PROPERTY(qreal peakL MEMBER peakL_ NOTIFY levelsChanged)
    Q_PROPERTY(qreal peakR MEMBER peakR_ NOTIFY levelsChanged)
    Q_PROPERTY(bool clipping MEMBER clipping_ NOTIFY levelsChanged)

public:
    explicit LevelMeters(QQuickItem* parent = nullptr);
    void paint(QPainter& painter, const Canvas& canvas) override;

signals:
    void levelsChanged();

private:
    struct Lamps {
        /// Counted from below.
        int lit = 0;
        int peak = -1;

        bool operator==(const Lamps&) const = default;
    };
    struct Look {
        Lamps left;
        Lamps right;
        bool clipping = false;

        bool operator==(const Look&) const = default;
    };

    /// Lamps of whole picture elements, all alike: how many there are depends on the scale.
    struct Column {
        int count;
        qreal pitch;
    };

    Column column() const;
    Lamps lampsFor(qreal level, qreal peak) const;
    void show();
    void paintColumn(QPainter& painter, const Canvas& canvas, qreal left, const Lamps& lamps) const;

    qreal levelL_ = 0;
    qreal levelR_ = 0;
    qreal peakL_ = 0;
    qreal peakR_ = 0;
    bool clipping_ = false;
    Look look_;
};

} // namespace quenstal
